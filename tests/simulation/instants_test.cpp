// Each event at each record of an undisturbed road, from the end of Start to Stop: the record's number is the
// instant, and the event's thread runs right behind it, ahead of every other.
#include <ostream>

#include "rig/left_behind.h"
#include "simulation/simulated_run.h"
#include "support/present_run.h"
#include "support/unit_test.h"

namespace em::test {
namespace {

#ifdef EM_SANITIZED
constexpr size_t kStride = 4; // a run takes several times as long
#else
constexpr size_t kStride = 1;
#endif

struct Road {
    const char* name;
    Act act;
    const char* command;
    bool job;
    int64_t forceDelay;
};

void PrintTo(const Road& road, std::ostream* stream) {
    *stream << road.name;
}

RunPlan planOf(const Road& road) {
    RunPlan plan;
    plan.delay = 7;
    plan.forceDelay = road.forceDelay;
    plan.job = road.job;
    plan.jobMs = 3'000;
    plan.happenings = {{road.act, 150}};
    return plan;
}

struct Instants : testing::TestWithParam<std::tuple<Road, std::pair<Act, Event>>> {
    const fake::Scope m_script;
    const TraceCapture m_trace{5};
};

TEST_P(Instants, EndAsTheTableSays) {
    const auto& [road, injected] = GetParam();
    const auto& [act, event] = injected;
    const RunPlan undisturbed = planOf(road);
    const RunResult whole = simulate(undisturbed, true);
    ASSERT_EQ(whole.fault, "") << whole.trace;
    ASSERT_EQ(whole.commands, std::vector<std::string>{road.command}) << whole.trace;
    ASSERT_GT(whole.stoppedAt - whole.startedAt, 60U) << "the records of a whole road";

    const LeftBehind left;
    std::set<State> met;
    for (size_t record = whole.startedAt + 1; record <= whole.stoppedAt; record += kStride) {
        RunPlan plan = undisturbed;
        plan.happenings.push_back({act, 0, record});
        setPresentRun(road.name + std::string(", ") + nameOf(act) + " at record " + std::to_string(record));
        const RunResult result = simulate(plan);
        ASSERT_EQ(result.fault, "") << nameOf(act) << " at record " << record << "\n" << result.trace;
        met.insert(result.met);
        const Cell& cell = cellOf(result.met, event);
        const size_t most = result.met != State::Idle && cell.commands == Commands::None ? 0 : 1;
        const size_t least = result.met != State::Idle && cell.commands == Commands::One ? 1 : 0;
        ASSERT_LE(result.commands.size(), most)
            << nameOf(act) << " at record " << record << ": " << cell.text;
        ASSERT_GE(result.commands.size(), least)
            << nameOf(act) << " at record " << record << ": " << cell.text;
    }
    EXPECT_EQ(left.difference(), "");
    for (const State state : {State::Idle, State::Announced, State::Queued, State::Gate, State::Delay,
                              State::Job, State::Command, State::Executing}) {
        EXPECT_TRUE(kStride > 1 || met.contains(state)) << "no instant: " << nameOf(state);
    }
    RecordProperty("instants", std::to_string(whole.stoppedAt - whole.startedAt));
}

constexpr Road kRoads[] = {{"Off", Act::Off, "/sbin/poweroff", true, 2},
                           {"Halt", Act::HaltReply, "/sbin/halt", false, 0}};
constexpr std::pair<Act, Event> kEvents5[] = {{Act::Cancel, Event::Cancel},
                                              {Act::Stop, Event::Stop},
                                              {Act::Reset, Event::Request},
                                              {Act::Disconnect, Event::Disconnect},
                                              {Act::Flip, Event::Flip}};
constexpr const char* kNames[] = {"Cancel", "Stop", "SecondRequest", "Disconnect", "MaintenanceFlip"};

std::string nameOfCase(const testing::TestParamInfo<Instants::ParamType>& info) {
    return std::string(std::get<0>(info.param).name) + kNames[info.index % std::size(kNames)];
}

INSTANTIATE_TEST_SUITE_P(Roads, Instants,
                         testing::Combine(testing::ValuesIn(kRoads), testing::ValuesIn(kEvents5)),
                         nameOfCase);

} // namespace
} // namespace em::test
