// The files that belong to this tool: beside it in a build, at their own places where it is installed.
#pragma once

#include <string>
#include <vector>

namespace volad_dev {

// Paths; whether anything is there shows when it is used. Throw std::filesystem::filesystem_error when this
// process cannot tell where its own file is.

// Of a program that is the tool's own and nobody's to call.
[[nodiscard]] std::string helperFile(const std::string& name);
// Of the module that is rehearsed when none is named.
[[nodiscard]] std::string moduleFile();
// The directories of the tool and of its helpers, each once.
[[nodiscard]] std::vector<std::string> toolDirectories();

} // namespace volad_dev
