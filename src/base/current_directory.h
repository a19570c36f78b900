// The process's working directory.
#pragma once

#include <string>

namespace em {

// False, with the reason in errno, when it is not known, empty or longer than 4,095 bytes; the text is then
// left as it was.
[[nodiscard]] bool GetCurrentDirectory(std::string& directory);

} // namespace em
