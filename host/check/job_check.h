// The job of the settings: text, program, interpreter, directory and limit.
#pragma once

#include <string>
#include <vector>

#include "host/check/machine_root.h"
#include "host/check/surroundings.h"
#include "host/files/findings.h"
#include "host/hosting/settings.h"

namespace volad_dev {

// Seconds that a service manager gives a service to stop, unless it is told otherwise; the module's stop
// waits for a job that runs.
inline constexpr uint32_t kHostStopSeconds = 90;

struct JobLook {
    std::vector<std::string> programs; // that root would run: the job's and its interpreter
    std::vector<Finding> findings;
};

// `file` names the settings in the findings. A text that only a shell can make sense of is left alone, as is
// what lies behind its first word.
[[nodiscard]] JobLook checkJob(const MachineRoot& root, const Surroundings& host, const Settings& settings,
                               const std::string& file);

} // namespace volad_dev
