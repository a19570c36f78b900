// Whole scenarios, once for each of their trace lines, which the host's debug object throws at: no outcome,
// no answer, no message to the host and no order may hang on a line.

#include <ostream>

#include "rig/sandbox.h"
#include "rig/scripted_host.h"
#include "shutdown/shutdown_module.h"
#include "support/json.h"
#include "support/unit_test.h"

namespace em::test {
namespace {

using Module = CShutdownExtensionModule;
using Texts = std::vector<std::string>;

#ifdef EM_SANITIZED
constexpr size_t kStride = 5; // a run takes several times as long
#else
constexpr size_t kStride = 1;
#endif
constexpr const char* kForced = "HardShutdown: Thread is"; // the two lines that lead to the forced command
constexpr const char* kAroundTask = "Task (Record 0x";

struct Scenario {
    const char* name;
    const char* delay; // seconds
    const char* gate;  // what the maintenance tool answers
    const char* job;
    // Drives the started module until its last message, and notes what it answers. `duringSettings` is what
    // the host does when it is asked for the force delay.
    void (*drive)(Module&, Texts& results);
    void (*duringSettings)(Module&, Texts& results) = nullptr;
};

std::string answerTo(Module& module, const char* command) {
    SipJson request = commandOf(command);
    const bool handled = module.HandleRequest(&request);
    return (handled ? "true " : "false ") + commandText(request);
}

struct ThrowingTrace : testing::TestWithParam<Scenario> {
    ThrowingTrace() {
        fake::failNth("clock_nanosleep", 1, EINVAL, 0); // settling times and pauses pass at once
        setMaintenance(GetParam().gate);
    }

    // Everything that somebody outside could see of a run, the trace apart: results, messages, commands.
    Texts run(size_t line) {
        const TraceCapture trace(5);
        recording().throwAt(line);
        Texts outcome;
        Texts duringSettings; // apart, since another thread notes it
        ScriptedHost host;
        host.answer(kDelay, GetParam().delay);
        host.answer(kForceDelay, "2");
        host.answer(kJobName, GetParam().job);
        {
            Module module;
            host.attachTo(&module);
            host.onMessage([&](uint32_t, uint32_t item, Envelope&) {
                if (item == kForceDelay && GetParam().duringSettings != nullptr) {
                    GetParam().duringSettings(module, duringSettings);
                }
            });
            outcome.push_back("start " + std::to_string(module.Start()));
            GetParam().drive(module, outcome);
            outcome.push_back("stop " + std::to_string(module.Stop()));
            outcome.push_back(answerTo(module, R"({"OC":523})")); // the status
        }
        for (const Texts& more : {duringSettings, recording().hostCalls(), m_commands.take()}) {
            outcome.insert(outcome.end(), more.begin(), more.end());
        }
        std::erase_if(outcome, [](const std::string& text) { // the worker's question comes at any moment
            return text.find("\"OE\":161") != std::string::npos;
        });
        thrown = recording().thrownLine();
        taskExceptions = trace.contains("## EXCEPTION in OnTaskExecution()! ##");
        EXPECT_EQ(trace.contains("EXCEPTION"), taskExceptions) << trace.text();
        return outcome;
    }

    const fake::Scope m_script;
    CommandLog m_commands;
    std::string thrown; // the line of the last run
    bool taskExceptions = false;
};

TEST_P(ThrowingTrace, ChangesNoOutcome) {
    const Texts wanted = run(0);
    ASSERT_FALSE(taskExceptions);
    size_t line = 1;
    for (;; line += kStride) {
        const Texts outcome = run(line);
        if (thrown.empty()) {
            break;
        }
        SCOPED_TRACE("thrown at line " + std::to_string(line) + ": " + thrown);
        Texts expected = wanted;
        if (thrown.find(kForced) != std::string::npos) {
            expected.push_back(wanted.back() + " -f");
        }
        ASSERT_EQ(outcome, expected);
        ASSERT_EQ(taskExceptions, thrown.find(kAroundTask) != std::string::npos);
    }
    RecordProperty("lines", std::to_string(line - 1));
    EXPECT_GT(line, 60U) << "the lines of a whole scenario";
}

constexpr const char* kExecuted = R"({"OC":527,"DA":3,)";
constexpr const char* kWithdrawn = R"(0 {"SIP":{"V":1,"CMD":[{"OC":521,)";
constexpr const char* kForceDelayAsked = R"("OE":5889)"; // after which the delay begins

template <const char* const& LastMessage>
void requestAndWait(Module& module, Texts& results) {
    results.push_back(answerTo(module, R"({"OC":517,"DA":3})"));
    EXPECT_TRUE(recording().waitFor(LastMessage));
}

const Scenario kScenarios[] = {
    {"Off", "0", "Enabled", R"("true")", requestAndWait<kExecuted>},
    {"HaltByReply", "0", "Enabled", R"("")",
     [](Module& module, Texts& /*results*/) {
         SipJson reply = commandOf(R"({"OC":522,"ST":0,"DA":9})");
         module.ApplicationReply(&reply);
         EXPECT_TRUE(recording().waitFor(kExecuted));
     }},
    {"Cancelled", "0", "Enabled", R"("")", requestAndWait<kWithdrawn>,
     [](Module& module, Texts& results) { results.push_back(answerTo(module, R"({"OC":521})")); }},
    {"RefusedAtTheGate", "0", "Disabled", R"("")", requestAndWait<kWithdrawn>},
    {"StoppedInTheDelay", "1800", "Enabled", R"("")", requestAndWait<kForceDelayAsked>},
    {"Disconnect", "0", "Enabled", R"("")",
     [](Module& module, Texts& results) {
         results.push_back("notify " + std::to_string(module.Notify(0x30000, 0, 0)));
     }},
    {"Watcher", "0", "Enabled", R"("")", [](Module& module, Texts& /*results*/) {
         module.AfterStart();
         EXPECT_TRUE(recording().waitFor(R"("OC":513)"));
     }}};

void PrintTo(const Scenario& scenario, std::ostream* stream) {
    *stream << scenario.name;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, ThrowingTrace, testing::ValuesIn(kScenarios),
                         [](const auto& tested) { return std::string(tested.param.name); });

} // namespace
} // namespace em::test
