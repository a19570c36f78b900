#include "shutdown/power_off_worker.h"

#include <cstdint>
#include <ctime>

#include "base/system.h"
#include "contract/envelope.h"
#include "contract/operation_codes.h"
#include "contract/reasons.h"
#include "contract/settings.h"
#include "contract/trace_lines.h"
#include "frame/envelope/sip_json.h"
#include "frame/module/cabinet_number.h"
#include "shutdown/host_messages.h"
#include "shutdown/shutdown_progress.h"
#include "shutdown/stop_signal.h"
#include "trace/boundary.h"

namespace em {
namespace {

// The arithmetic is pure, on the wall clock's time of day.

// The host's answer for a week day: minutes behind local midnight in its low 16 bits, kNoPowerOffTime for
// none. A value of 1440 or more is a time that no clock shows.
constexpr std::optional<OffTime> offTimeOf(uint32_t answer) {
    const uint32_t minutes = answer & 0xFFFF;
    if (minutes == kNoPowerOffTime) {
        return std::nullopt;
    }
    return OffTime{minutes / 60, minutes % 60};
}

// Exact to the minute: a minute that no pass sees is missed for the day.
constexpr bool isReached(const OffTime& off, const tm& local) {
    return off.hour == static_cast<unsigned>(local.tm_hour) &&
           off.minute == static_cast<unsigned>(local.tm_min);
}

constexpr unsigned kPassSeconds = 30;
// Longer than a minute, so that the same off time raises no second request.
constexpr unsigned kRaisedSeconds = 91;

constexpr unsigned sleepSeconds(bool raised) {
    return raised ? kRaisedSeconds : kPassSeconds;
}

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

void PowerOffWorker::run() {
    EM_TRACE(2, "\nEM_SHUTDOWN         : START THREAD WorkerThread()");
    while (!m_stop.isRaised()) {
        bool raised = false; // stays so when the pass fails: that counts as no valid time
        atBoundary("WorkerThread()", [&] { raised = pass(); });
        sleep(raised);
    }
    EM_TRACE(2, "\nEM_SHUTDOWN         : EXIT THREAD WorkerThread()!");
}

// The time before the question, so that a slow answer does not make the minute pass unseen.
bool PowerOffWorker::pass() {
    const tm local = localTime();
    const std::optional<OffTime> off = askOffTime(local.tm_wday);
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
    raiseRequest(*off);
    return true;
}

std::optional<OffTime> PowerOffWorker::askOffTime(int weekDay) {
    const auto answer = m_host.askNumber(setting::kPowerOffTime, static_cast<uint32_t>(weekDay));
    return answer ? offTimeOf(*answer) : std::nullopt;
}

void PowerOffWorker::raiseRequest(const OffTime& off) {
    EM_TRACE(1, line::kOffTimeReached, asInt(off.hour), asInt(off.minute));
    SipJson request;
    request.InitEnvelope();
    request.SetCommand(opcode::CM_RequestShutdownAndOff, 0, 0, cabinetNumber(), status::kKeep);
    request.SetNumberData(kReasonRealtimeClock, status::kAccepted);
    m_progress.queueScheduled(request);
}

// After a request even a stray wake-up must not start a pass within the same minute.
void PowerOffWorker::sleep(bool raised) {
    const unsigned seconds = sleepSeconds(raised);
    EM_TRACE(2, "\nEM_SHUTDOWN         : Worker thread sleeps %d seconds for next action", asInt(seconds));
    m_stop.sleepOn(m_event, uint64_t{seconds} * 1000, !raised);
    EM_TRACE(2, "\nEM_SHUTDOWN         : Worker thread woke up!");
}

} // namespace em
