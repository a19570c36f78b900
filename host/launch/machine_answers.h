// What this very machine would answer, outside any sandbox: a verdict that assumed something else says so.
#pragma once

#include <string>
#include <vector>

#include "contract/shutdown_actions.h"
#include "host/launch/interruption.h"
#include "host/run/run.h"

namespace volad_dev {

enum class GateHere { Missing, Enabled, Disabled, NotAsked };

struct GateAnswer {
    GateHere gate = GateHere::NotAsked;
    std::string complaint; // what the tool wrote to its standard error, the first line
};

[[nodiscard]] const char* nameOf(GateHere gate);

// Looks for the maintenance tool in a PATH; asks it once, as the module would and with that PATH, when it
// may: that runs the machine's own tool, for 30 seconds at most, or until an interruption, at which Failure
// is thrown (kExitInterrupted). path: empty is this process's, or the shell's own where it has none. One
// thread.
[[nodiscard]] GateAnswer gateHere(const std::string& path, bool mayAsk, const Interruption& interruption);

// What in this run the machine would contradict; the run's gate is known.
[[nodiscard]] std::vector<Warning> contradictions(const ShutdownRun& run, const em::ShutdownAction& action);

} // namespace volad_dev
