// Settings that the host keeps, read at the moment of each shutdown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace em {

class CExtensionModule;

// Each read is one request to the host, with an envelope of its own: an old answer must not show through when
// the host stays silent. Nothing when the answer's status is no success, when it holds no data, or data that
// is no number.
[[nodiscard]] std::optional<uint32_t> ReadNumberSetting(CExtensionModule& module, uint32_t item);
// Empty where there is no answer; a text ends at its first NUL.
[[nodiscard]] std::string ReadTextSetting(CExtensionModule& module, uint32_t item);

} // namespace em
