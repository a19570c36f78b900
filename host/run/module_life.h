// The shutdowns of one module, from its lines in their order: what waits in its queue, and what it works on.
#pragma once

#include <deque>
#include <optional>
#include <string_view>

#include "host/run/known_run.h"
#include "host/run/run_course.h"
#include "host/run/run_order.h"
#include "host/run/trace_line.h"
#include "host/run/trace_prefix.h"

namespace volad_dev {

class ModuleLife {
public:
    // The order is given each shutdown when no line can add to it any more, and outlives this.
    explicit ModuleLife(RunOrder& order) : m_order(&order) {}

    void take(const TraceLine& line);
    // The trace is at its end, or the module's life is.
    void end();

private:
    static constexpr std::string_view kEarlier = "an earlier shutdown"; // shut the queue
    using Handler = void (ModuleLife::*)(const TraceLine&);
    struct HandlerRow {
        TraceEvent event;
        Handler handler;
    };
    static constexpr auto handlers();

    // One for each group of lines: what comes in and waits (module_life.cpp), and what is worked on
    // (module_task.cpp).
    void onStarting(const TraceLine& line);
    void onStopping(const TraceLine& line);
    void onMessage(const TraceLine& line);
    void onAction(const TraceLine& line);
    void onOffTime(const TraceLine& line);
    void onQueue(const TraceLine& line);
    void onCancelRequest(const TraceLine& line);
    void onStatus(const TraceLine& line);
    void onTask(const TraceLine& line);
    void onGate(const TraceLine& line);
    void onReason(const TraceLine& line);
    void onDelay(const TraceLine& line);
    void onPastDelay(const TraceLine& line);
    void onJobSetting(const TraceLine& line);
    void onJobEnd(const TraceLine& line);
    void onCommand(const TraceLine& line);
    void onExecution(const TraceLine& line);
    void onDisconnect(const TraceLine& line);
    void onNothing(const TraceLine& /*line*/) {}

    RunCourse& ask(std::string_view by);
    RunCourse& begun();
    RunCourse& current();
    RunCourse* addressee();
    RunCourse* awaitingAnswer(uint32_t operationCode);
    [[nodiscard]] bool isShutdownCommand(std::string_view command);
    void shutQueue(std::string_view by);
    void dropRefused();
    void finishCurrent();
    void give(RunCourse& course);

    RunOrder* m_order;
    std::deque<RunCourse> m_waiting; // in the order in which they came
    std::optional<RunCourse> m_current;
    bool m_stopping = false;
    std::optional<std::string> m_commandStarted; // the last one
    std::string_view m_queueShutBy;              // empty while it is open
    std::optional<TraceTime> m_now;              // of the line that is being read
    unsigned m_level = 0;                        // the same
};

} // namespace volad_dev
