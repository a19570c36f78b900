// The recorded commands, by who started them.
#pragma once

#include <optional>
#include <vector>

#include "host/hosting/job_watch.h"
#include "host/sandbox/command_record.h"

namespace volad_dev {

struct StartedCommands {
    std::vector<CommandRecord> ofModule;
    std::vector<CommandRecord> ofJob;    // that would have ended the system
    std::vector<CommandRecord> harmless; // of the job: what else it asked the service manager for
    size_t garbled = 0;                  // lines that are no record

    [[nodiscard]] size_t countOfJob() const { return ofJob.size() + harmless.size(); }
};

// A record is the module's when the calling process started it, and not as the job.
[[nodiscard]] StartedCommands readCommands(const CommandRecorder& recorder,
                                           const std::optional<JobSighting>& job);

} // namespace volad_dev
