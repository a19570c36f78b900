// Whole scenarios, once for each of their trace lines, which the host's debug object throws at: no outcome,
// no answer, no message to the host and no order may hang on a line.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "base/system_fake.h"
#include "frame/json/json_tree.h"
#include "host/sandbox/command_record.h"
#include "host/sandbox/sandbox_layout.h"
#include "shutdown/shutdown_module.h"
#include "support/json.h"
#include "support/scripted_host.h"
#include "support/trace_capture.h"

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
    void (*drive)(Module&, ScriptedHost&, Texts& results);
    void (*duringSettings)(Module&, Texts& results) = nullptr;
};

std::string answerTo(Module& module, const char* command) {
    SipJson request = commandOf(command);
    const bool handled = module.HandleRequest(&request);
    return (handled ? "true " : "false ") + commandText(request);
}

// Everything that somebody outside could see of a run, the trace apart.
struct Outcome {
    Texts results, messages, commands;
    Texts duringSettings; // apart, since another thread notes it
    bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    for (const auto* const part :
         {&outcome.results, &outcome.duringSettings, &outcome.messages, &outcome.commands}) {
        for (const std::string& text : *part) {
            *stream << "\n  " << text;
        }
    }
}

class ThrowingTrace : public testing::TestWithParam<Scenario> {
protected:
    ThrowingTrace() {
        fake::failNth("clock_nanosleep", 1, EINVAL, 0); // settling times and pauses pass at once
        std::ofstream(volad_dev::layout::kMaintenanceAnswer) << GetParam().gate << '\n';
    }

    // Once every child has ended, what ran is on record. Sorted: a forced command may come first.
    Texts commandsRun() {
        while (::waitpid(-1, nullptr, 0) > 0) {
        }
        Texts commands;
        const auto records = m_recorder.read();
        for (size_t i = m_read; i < records.size(); ++i) {
            commands.push_back(records[i].commandLine());
        }
        m_read = records.size();
        std::sort(commands.begin(), commands.end());
        return commands;
    }

    // The settings of the host. The worker's question, which comes at any moment, is not answered.
    void answer(SipJson& message) const {
        const std::map<uint32_t, std::string> settings = {
            {0x1700, GetParam().delay}, {0x1701, "2"}, {0x1710, GetParam().job}};
        const auto found = settings.find(message.GetUint("OE", 0));
        if (message.GetUint("OC", 0) == 0xE001 && found != settings.end()) {
            message.SetStatus(0);
            json::setMember(*message.CommandAt(), "DA", jsonOf(found->second));
        }
    }

    Outcome run(size_t line, std::string& thrown, bool& taskExceptions) {
        TraceCapture trace(5);
        trace.throwAt(line);
        Outcome outcome;
        ScriptedHost host;
        {
            Module module;
            host.attachTo(&module);
            host.answer([&](SipJson& message, uint32_t) {
                if (message.GetUint("OE", 0) == 0x1701 && GetParam().duringSettings != nullptr) {
                    GetParam().duringSettings(module, outcome.duringSettings);
                }
                answer(message);
            });
            outcome.results.push_back("start " + std::to_string(module.Start()));
            GetParam().drive(module, host, outcome.results);
            outcome.results.push_back("stop " + std::to_string(module.Stop()));
            outcome.results.push_back(answerTo(module, R"({"OC":523})")); // the status
        }
        for (const std::string& message : host.messages()) {
            if (message.find("\"OE\":161") == std::string::npos) {
                outcome.messages.push_back(message);
            }
        }
        outcome.commands = commandsRun();
        thrown = trace.thrownLine();
        taskExceptions = trace.contains("## EXCEPTION in OnTaskExecution()! ##");
        EXPECT_EQ(trace.contains("EXCEPTION"), taskExceptions) << trace.text();
        return outcome;
    }

    const fake::Scope m_script;
    const volad_dev::CommandRecorder m_recorder;
    size_t m_read = m_recorder.read().size();
};

TEST_P(ThrowingTrace, ChangesNoOutcome) {
    std::string thrown;
    bool taskExceptions = false;
    const Outcome wanted = run(0, thrown, taskExceptions);
    ASSERT_FALSE(taskExceptions);
    size_t line = 1;
    for (;; line += kStride) {
        const Outcome outcome = run(line, thrown, taskExceptions);
        if (thrown.empty()) {
            break;
        }
        SCOPED_TRACE("thrown at line " + std::to_string(line) + ": " + thrown);
        Outcome expected = wanted;
        if (thrown.find(kForced) != std::string::npos) {
            expected.commands.push_back(expected.commands.at(0) + " -f");
        }
        ASSERT_EQ(outcome, expected);
        ASSERT_EQ(taskExceptions, thrown.find(kAroundTask) != std::string::npos);
    }
    RecordProperty("lines", std::to_string(line - 1));
    EXPECT_GT(line, 60U) << "the lines of a whole scenario";
}

constexpr const char* kExecuted = R"({"OC":527,"DA":3,)";
constexpr const char* kWithdrawn = R"(notification {"SIP":{"V":1,"CMD":[{"OC":521,)";

void requestAndWait(Module& module, const ScriptedHost& host, Texts& results, const char* lastMessage) {
    results.push_back(answerTo(module, R"({"OC":517,"DA":3})"));
    EXPECT_TRUE(host.waitForMessage(lastMessage));
}

const Scenario kScenarios[] = {
    {"Off", "0", "Enabled", R"("true")",
     [](Module& module, ScriptedHost& host, Texts& results) {
         requestAndWait(module, host, results, kExecuted);
     }},
    {"HaltByReply", "0", "Enabled", R"("")",
     [](Module& module, ScriptedHost& host, Texts& /*results*/) {
         SipJson reply = commandOf(R"({"OC":522,"ST":0,"DA":9})");
         module.ApplicationReply(&reply);
         EXPECT_TRUE(host.waitForMessage(kExecuted));
     }},
    {"Cancelled", "0", "Enabled", R"("")",
     [](Module& module, ScriptedHost& host, Texts& results) {
         requestAndWait(module, host, results, kWithdrawn);
     },
     [](Module& module, Texts& results) { results.push_back(answerTo(module, R"({"OC":521})")); }},
    {"RefusedAtTheGate", "0", "Disabled", R"("")",
     [](Module& module, ScriptedHost& host, Texts& results) {
         requestAndWait(module, host, results, kWithdrawn);
     }},
    {"StoppedInTheDelay", "1800", "Enabled", R"("")",
     [](Module& module, ScriptedHost& host, Texts& results) {
         requestAndWait(module, host, results,
                        R"("OE":5889)"); // the force delay, after which the delay begins
     }},
    {"Disconnect", "0", "Enabled", R"("")",
     [](Module& module, ScriptedHost& /*host*/, Texts& results) {
         results.push_back("notify " + std::to_string(module.Notify(0x30000, 0, 0)));
     }},
    {"Watcher", "0", "Enabled", R"("")",
     [](Module& module, ScriptedHost& host, Texts& /*results*/) {
         module.AfterStart();
         EXPECT_TRUE(host.waitForMessage(R"("OC":513)"));
     }},
};

void PrintTo(const Scenario& scenario, std::ostream* stream) {
    *stream << scenario.name;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, ThrowingTrace, testing::ValuesIn(kScenarios),
                         [](const auto& tested) { return std::string(tested.param.name); });

} // namespace
} // namespace em::test
