#include "shutdown/power_off_worker.h"

#include "base/system.h"
#include "frame/module/cabinet_number.h"
#include "shutdown/operation_codes.h"
#include "shutdown/reason_table.h"
#include "shutdown/shutdown_module.h"
#include "trace/boundary.h"

namespace em {
namespace {

// tzset, because localtime_r alone never notices a changed time zone.
tm localTime() {
    time_t now = sys::time();
    if (now == 0) {
        now = sys::time();
    }
    ::tzset(); // NOLINT(concurrency-mt-unsafe): libc reads the zone under its own lock
    tm local{};
    ::localtime_r(&now, &local);
    return local;
}

} // namespace

void PowerOffWorker::Run() {
    EM_TRACE(2, "\nEM_SHUTDOWN         : START THREAD WorkerThread()");
    while (!m_Module.m_bStop) {
        bool raised = false; // stays so when the pass fails: that counts as no valid time
        atBoundary("WorkerThread()", [&] { raised = Pass(); });
        Sleep(raised);
    }
    EM_TRACE(2, "\nEM_SHUTDOWN         : EXIT THREAD WorkerThread()!");
}

bool PowerOffWorker::Pass() {
    const tm local = localTime();
    const std::optional<OffTime> off = AskOffTime(local.tm_wday);
    if (!off) {
        EM_TRACE(3, "\nEM_SHUTDOWN         : No valid power off time configured for week day %d!",
                 local.tm_wday);
        return false;
    }
    EM_TRACE(4, "\nEM_SHUTDOWN         : Valid power off time %02d:%02d found!", asInt(off->hour),
             asInt(off->minute));
    EM_TRACE(3, "\nEM_SHUTDOWN         : Local time %02d:%02d - Off time %02d:%02d", local.tm_hour,
             local.tm_min, asInt(off->hour), asInt(off->minute));
    if (!isReached(*off, local)) {
        return false;
    }
    RaiseRequest(*off);
    return true;
}

std::optional<OffTime> PowerOffWorker::AskOffTime(int weekDay) {
    SipJson query;
    query.InitEnvelope();
    query.SetCommand(opcode::kHostSettings, setting::kPowerOffTime, static_cast<uint32_t>(weekDay),
                     cabinetNumber(), status::kKeep);
    m_Module.SendRequest(query);
    uint32_t answer = 0;
    if (!query.HasValidData() || !query.GetAnswerUint(answer)) {
        return std::nullopt;
    }
    return offTimeOf(answer);
}

void PowerOffWorker::RaiseRequest(const OffTime& off) {
    EM_TRACE(1, "\nEM_SHUTDOWN         : Power off time %02d:%02d reached - Request system shutdown!",
             asInt(off.hour), asInt(off.minute));
    SipJson request;
    request.InitEnvelope();
    request.SetCommand(opcode::CM_RequestShutdownAndOff, 0, 0, cabinetNumber(), status::kKeep);
    request.SetNumberData(kReasonRealtimeClock, status::kAccepted);
    // As a request of the host does it: a shutdown cancelled earlier must not cancel this one. A pending one
    // keeps its cancel.
    m_Module.m_State.ClearStaleCancelFlag();
    static_cast<void>(m_Module.InsertTask(request, 0, nullptr)); // a refusal has its own line
}

// After a request even a stray wake-up must not start a pass within the same minute.
void PowerOffWorker::Sleep(bool raised) {
    const unsigned seconds = sleepSeconds(raised);
    EM_TRACE(2, "\nEM_SHUTDOWN         : Worker thread sleeps %d seconds for next action", asInt(seconds));
    m_Module.SleepOn(m_Module.m_WorkerEvent, uint64_t{seconds} * 1000, !raised);
    EM_TRACE(2, "\nEM_SHUTDOWN         : Worker thread woke up!");
}

} // namespace em
