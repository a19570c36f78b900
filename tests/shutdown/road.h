// One run along a road of the module, from its making to its deletion, with one call that fails on the way,
// and what somebody outside could see of it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "rig/left_behind.h"
#include "rig/scripted_host.h"
#include "rig/tests_own.h"
#include "shutdown/shutdown_module.h"
#include "support/call_faults.h"
#include "support/unit_test.h"

namespace em::test {

// Threads as bits for the leaping clock, in the order in which Start makes them.
constexpr unsigned kMain = 1U << 0U;
constexpr unsigned kHandler = 1U << 1U;
constexpr unsigned kWorker = 1U << 2U;

class RoadRun {
public:
    // Puts the shell that stands in for the system's into the directory, for all runs.
    static void prepare(const TemporaryDirectory& files);
    RoadRun(const TemporaryDirectory& files, const CallFault& fault);
    ~RoadRun();
    RoadRun(const RoadRun&) = delete;
    RoadRun& operator=(const RoadRun&) = delete;

    // A stretch of the road on which a call may fail, on every thread.
    void stretch(const std::function<void()>& body);
    // Calls of the product within it; the rest of a stretch is the test's own.
    template <class Body>
    void product(Body&& body) {
        const TestsOwn products(false);
        body();
    }

    // Makes the module and attaches the host.
    void create();
    void start() { module->Start(); }
    // Hands the request over and notes the answer; true where it was taken.
    bool ask(const char* command);
    // The same, and waits for the end of its task.
    void request(const char* command);
    void reply(const char* command);
    void awaitTask();
    // Waits for a line of the trace; notes when it does not come.
    void awaitLine(const char* part, size_t times = 1);
    // Time leaps on these threads until a pass has ended so often, as that line tells, or has ended with the
    // other text in the line; then on the others.
    void leapPasses(unsigned threads, const char* line, size_t passes, const char* last, unsigned then);
    void awaitPasses();
    // Called when the module asks the host for that setting, on its thread.
    void whenAsked(uint32_t item, std::function<void()> hook);
    // Deletes the module where it is there, and waits for the end of all that was started.
    void end();

    // The trace as it was, when the road has configured it.
    void traceAgain();
    // Adds to what was seen.
    void note(const std::string& text);
    // "true 0: status 1, status 2; ran poweroff": answers, messages to the host in order, commands in order.
    [[nodiscard]] std::string seen() const;
    // What is left behind; empty when nothing is.
    [[nodiscard]] std::string left() const { return m_before.difference(); }

    const TemporaryDirectory& files;
    int64_t delaySeconds = 60; // what no command may come before
    ScriptedHost host;
    std::unique_ptr<CShutdownExtensionModule> module;

private:
    [[nodiscard]] std::string messages() const;
    [[nodiscard]] int commandsBegun() const;
    void watchDelay(uint32_t item);

    const TestsOwn m_own;
    const fake::Scope m_script;
    std::optional<TraceCapture> m_trace;
    const CallFault m_fault;
    const LeftBehind m_before;
    std::string m_notes;
    std::promise<void> m_passed;
    std::atomic<size_t> m_passesLeft{0};
    int64_t m_delayBegins = 0;
    std::pair<uint32_t, std::function<void()>> m_whenAsked;
};

// A road: its name, the threads whose calls fail (fake::threadNumber), how it is walked.
struct Road {
    const char* name;
    std::vector<int> threads;
    void (*walk)(RoadRun&);
};
[[nodiscard]] const std::vector<Road>& roads();

// What a road may end in (RoadRun::seen), and which calls may lead there by their failing, separated by
// blanks:
// "" where none need have failed.
struct RoadEnd {
    const char* road;
    const char* seen;
    std::string calls;
};
[[nodiscard]] const std::vector<RoadEnd>& roadEnds();

} // namespace em::test
