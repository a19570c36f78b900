// A message of host and module in one line.
#pragma once

#include <string>
#include <string_view>

namespace volad_dev {

// Of an envelope's JSON text: the operation code and its name, the data, a status that is no success. "517
// CM_RequestShutdownAndOff: 3", "0xE001 the job's time limit (ST 1)". Visible text (visible_text.h).
[[nodiscard]] std::string messageLabel(std::string_view envelope);

} // namespace volad_dev
