// What a job needs to find inside the sandbox, and whether it is on this machine at all.
#pragma once

#include <string>
#include <vector>

#include "host/hosting/settings.h"
#include "host/run/run.h"

namespace volad_dev {

struct JobWorld {
    std::vector<std::string> places; // to be bound read-only, each at its own path
    std::string directory;           // where the job would run on this machine; empty: where the host stands
    std::vector<Warning> warnings;   // what the module will go on without, and without a word
};

// Looks at the machine's file system: directory, program (the text up to the first blank) and interpreter.
[[nodiscard]] JobWorld jobWorld(const Settings& settings);

} // namespace volad_dev
