// Powers the server off at the time of day that the host keeps for the week day.
#pragma once

#include <ctime>
#include <optional>

#include "shutdown/power_off_schedule.h"

namespace em {

class CShutdownExtensionModule;

// The body of the worker thread: a query, a comparison and a sleep, until Stop.
class PowerOffWorker {
public:
    explicit PowerOffWorker(CShutdownExtensionModule& module) : m_Module(module) {}
    void Run();

private:
    [[nodiscard]] bool Pass();
    [[nodiscard]] std::optional<OffTime> AskOffTime(int weekDay);
    void RaiseRequest(const OffTime& off);
    void Sleep(bool raised);

    CShutdownExtensionModule& m_Module;
};

} // namespace em
