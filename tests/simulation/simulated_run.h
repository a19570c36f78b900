// One run of the module from its construction to its destructor on a simulated machine, judged as it goes.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "rig/recording.h"
#include "simulation/outcome_judge.h"
#include "simulation/run_plan.h"

namespace em::test {

struct RunResult {
    std::string fault; // empty when table and invariants hold
    std::vector<std::string> commands;
    size_t records = 0;
    size_t startedAt = 0; // records when Start had returned, and
    size_t stoppedAt = 0; // before Stop
    State met{};          // where the happening at a record met the shutdown
    OutcomeJudge::Cells cells;
    uint32_t status = 0;
    std::string trace; // every record with its time and thread
};

// The trace is kept where it is asked for, and where there is a fault.
[[nodiscard]] RunResult simulate(const RunPlan& plan, bool withTrace = false);

} // namespace em::test
