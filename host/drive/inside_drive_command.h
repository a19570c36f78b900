// The second start of a driven run's own program, inside the sandbox; no help shows it.
#pragma once

#include <string>
#include <vector>

#include "host/common/command.h"
#include "host/drive/drive_options.h"

namespace volad_dev {

Command addInsideDriveCommand(CLI::App& app);
// The arguments with which it takes the same options. Its counterpart is the parser, written by hand: an
// option that is missing here does nothing inside the sandbox.
[[nodiscard]] std::vector<std::string> insideArguments(const DriveOptions& options);

} // namespace volad_dev
