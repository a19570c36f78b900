// One look at an installation, subject by subject.
#pragma once

#include <string>
#include <vector>

#include "host/check/installation_check.h"
#include "host/check/job_check.h"
#include "host/check/machine_check.h"
#include "host/check/machine_root.h"
#include "host/check/message_check.h"
#include "host/check/store_check.h"
#include "host/check/surroundings.h"
#include "host/check/trace_check.h"
#include "host/hosting/settings.h"

namespace volad_dev {

struct Inspection {
    TraceConfiguration trace;
    Store store;
    MessageFile messages;
    ConfigurationFiles configuration;
    MachineLook machine;
    Settings settings;
    std::string settingsFile;      // empty: none was given
    std::vector<Finding> findings; // of all subjects
};

// Looks at everything once; this process's registry is that of the installation from then on.
[[nodiscard]] Inspection inspect(const MachineRoot& root, const Surroundings& host, const Settings& settings,
                                 const std::string& settingsFile);

} // namespace volad_dev
