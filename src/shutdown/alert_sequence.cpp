#include "shutdown/alert_sequence.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "catalogue/log_msg_file.h"
#include "contract/envelope.h"
#include "contract/reasons.h"
#include "contract/settings.h"
#include "contract/shutdown_actions.h"
#include "contract/trace_lines.h"
#include "frame/envelope/sip_json.h"
#include "frame/module/cabinet_number.h"
#include "osshutdown/os_shutdown.h"
#include "shutdown/host_messages.h"
#include "shutdown/stop_signal.h"
#include "tasks/task_serializer.h"
#include "trace/boundary.h"
#include "trace/table_line.h"

namespace em {
namespace {

constexpr int kLanguageId = 1033; // English

// A wait of 0xFFFFFFFF ms would be one without end, and 32 bits of milliseconds would wrap to a short delay.
constexpr uint64_t delayMs(uint32_t seconds) {
    return std::min<uint64_t>(uint64_t{seconds} * 1000, 0xFFFFFFFE);
}

void traceDefaultMessageUsed() {
    EM_TRACE(
        1,
        "\nEM_SHUTDOWN         : ## ERROR! Could not load shutdown reason message; default message used!\n");
}

} // namespace

void AlertSequence::run() {
    Outcome outcome = Outcome::Ended;
    if (!atBoundary("OnTaskExecution()", [&] { outcome = prepare(); })) {
        // Nothing may be left "pending" with no task behind it.
        static_cast<void>(swallow([&] { m_means.progress.abort(true); }));
        return;
    }
    if (outcome == Outcome::GoOn && !atBoundary("OnTaskExecution()", [&] { outcome = execute(); })) {
        outcome = Outcome::Stopped; // the command may have been started
    }
    if (outcome == Outcome::GoOn || outcome == Outcome::Stopped) {
        finish();
    }
}

AlertSequence::Outcome AlertSequence::prepare() {
    announce();
    if (!passesGate()) {
        return Outcome::Ended;
    }
    acceptRequest();
    readReason();
    readDelays();
    waitDelay();
    if (endsCancelled()) {
        return Outcome::Ended;
    }
    if (m_means.stop.isRaised()) {
        return Outcome::Stopped;
    }
    // Behind the last look at the cancel flag that keeps the system up. What the rest throws still does:
    // there was no command yet.
    announceShutdown();
    runJob();
    return Outcome::GoOn;
}

AlertSequence::Outcome AlertSequence::execute() {
    shutDown();
    // A cancel that came during job or command was answered with 0; it is carried out in name only.
    return endsCancelled() ? Outcome::Ended : Outcome::GoOn;
}

void AlertSequence::announce() {
    EM_TRACE(1, line::kTaskBegins, asInt(m_request.GetUint(key::Cabinet, 0)));
}

bool AlertSequence::passesGate() {
    if (m_means.stop.queryMaintenanceMode() == MaintenanceMode::Enabled) {
        return true;
    }
    EM_TRACE(1, line::kGateRefuses);
    m_means.progress.abort(true);
    return false;
}

void AlertSequence::acceptRequest() {
    if (m_request.GetUint(key::Status, status::kMissing) != status::kNotEchoed) {
        m_means.host.notify(m_request);
    }
    m_means.progress.begin(m_request);
}

void AlertSequence::readReason() {
    uint32_t data = 0;
    if (!m_request.GetDataUint(data)) {
        data = 0;
    }
    m_reason = static_cast<uint8_t>(data);
    EM_TRACE(3, line::kReasonNumber, unsigned{m_reason});
    EM_TRACE(3, "\nEM_SHUTDOWN         : Message LANGID: %d", kLanguageId);
    m_reasonText = catalogueText();
    if (m_reasonText.empty()) {
        m_reasonText = tableText();
    }
    EM_TRACE(1, line::kReasonText, m_reasonText.c_str());
}

// Opened for each shutdown: the file may have been replaced since the last one.
std::string AlertSequence::catalogueText() const {
    CLogMsgFile catalogue;
    if (!catalogue.Open(true)) {
        return {};
    }
    const uint32_t eventCode = kReasonEventCodes + m_reason;
    std::array<char, 16> key;
    std::snprintf(key.data(), key.size(), catalogue.EventMessages() ? "0x%06X" : "0x%04X", eventCode);
    std::string text = catalogue.LookUp(key.data(), "Summary", nullptr, 0);
    EM_TRACE(3, "\nEM_SHUTDOWN         : EventCode 0x%X: Got error summary message (LANGID %d): \"%s\"",
             eventCode, kLanguageId, text.c_str());
    return text;
}

std::string AlertSequence::tableText() const {
    const ReasonName name = lookUpReason(m_reason);
    if (name.isDefault) {
        traceDefaultMessageUsed();
    }
    return name.text;
}

// Both before the wait: a host that goes down meanwhile cannot be asked any more.
void AlertSequence::readDelays() {
    EM_TRACE(2, line::kSettingsAsked);
    EM_TRACE(3, "\nEM_SHUTDOWN         :    get shutdown delay...");
    if (const auto delay = m_means.host.askNumber(setting::kShutdownDelay)) {
        m_delay = *delay;
        EM_TRACE(3, line::kDelayGiven, asInt(m_delay));
    } else {
        m_delay = *setting::kShutdownDelay.fallback;
        EM_TRACE(3, line::kNoDelayGiven);
    }
    EM_TRACE(3, "\nEM_SHUTDOWN         :    get shutdown force delay...");
    if (const auto delay = m_means.host.askNumber(setting::kForceDelay)) {
        m_forceDelay = *delay;
        EM_TRACE(3, line::kForceDelayGiven, asInt(m_forceDelay));
    } else {
        m_forceDelay = *setting::kForceDelay.fallback;
        EM_TRACE(3, line::kNoForceDelayGiven);
    }
}

// A cancel does not end the delay, it is found behind it; only Stop does.
void AlertSequence::waitDelay() {
    if (m_reason == kReasonPowerSwitch) {
        return;
    }
    EM_TRACE(3, "\nEM_SHUTDOWN         :    suppress shutdown cancel message box - no user is logged in!");
    EM_TRACE(3, line::kDelayBegins, asInt(m_delay));
    m_means.stop.sleepOn(m_means.delayEvent, delayMs(m_delay), false);
    EM_TRACE(3, line::kDelayOver, asInt(m_delay));
}

bool AlertSequence::endsCancelled() {
    if (!m_means.progress.isCancelled()) {
        return false;
    }
    EM_TRACE(1, line::kEndsCancelled, asInt(cabinetNumber()));
    m_means.progress.abort(true);
    return true;
}

void AlertSequence::announceShutdown() {
    EM_TRACE(1, line::kPerforming, asInt(m_request.GetUint(key::Cabinet, 0)));
    m_message = "System shutdown due to a " + m_reasonText + " event!";
    traceDefaultMessageUsed(); // the message's text is never looked up
    m_means.executor.DisplayShutdownAction(kShutdownTitle, m_message.c_str());
}

// Asked for behind the delay: the operator may have changed the job while it ran.
void AlertSequence::runJob() {
    EM_TRACE(2, "\nEM_SHUTDOWN         : Checking shutdown job settings ..");
    EM_TRACE(3, "\nEM_SHUTDOWN         : Reading shutdwon job settings ..");
    const std::string job = m_means.host.askText(setting::kJobName);
    EM_TRACE(3, "\nEM_SHUTDOWN         : Job executable name (ORBA): %s", job.c_str());
    const std::string directory = m_means.host.askText(setting::kJobDirectory);
    EM_TRACE(3, "\nEM_SHUTDOWN         : Job working dir (ORBA): %s", directory.c_str());
    const uint32_t timeout =
        m_means.host.askNumber(setting::kJobTimeout).value_or(*setting::kJobTimeout.fallback);
    EM_TRACE(3, "\nEM_SHUTDOWN         : Job timeout (ORBA): %d sec.", asInt(timeout));
    EM_TRACE(3, line::kJobName, job.c_str());
    EM_TRACE(3, line::kJobDirectory, directory.c_str());
    EM_TRACE(3, line::kJobTimeout, asInt(timeout));
    if (job.empty()) {
        EM_TRACE(2, line::kNoJob);
        return;
    }
    EM_TRACE(2, line::kJobBegins, job.c_str());
    // A job that fails does not keep the system up; its own lines tell.
    static_cast<void>(m_means.executor.RunShutdownJob(job.c_str(), directory.c_str(), timeout));
}

void AlertSequence::shutDown() {
    // Asked again: the host has had the request in its hands as an echo.
    const ShutdownAction* const action = findShutdownAction(m_request.GetUint(key::OperationCode, 0));
    if (action == nullptr) {
        return;
    }
    if (action->powerLine != nullptr) {
        traceTableLine(3, action->powerLine);
        announcePowerOff();
    }
    traceTableLine(3, action->executeLine);
    static_cast<void>(m_means.executor.SystemShutdown(static_cast<uint32_t>(action->kind), m_forceDelay,
                                                      m_message.c_str()));
}

void AlertSequence::announcePowerOff() {
    EM_TRACE(3, "\nEM_SHUTDOWN         :   set power off reason...");
    m_means.host.setPowerOffReason(m_reason);
    EM_TRACE(3, "\nEM_SHUTDOWN         :   fire power-on status event...");
    m_means.host.powerOnStatus(m_reason);
}

// From here on the queue takes no task, until the object is deleted. Each part is due even when a line of the
// one before it could not be written.
void AlertSequence::finish() {
    atBoundary("OnTaskExecution()", [&] { m_means.progress.finish(); });
    atBoundary("OnTaskExecution()", [&] { m_means.queue.DisableAllTasks(); });
    atBoundary("OnTaskExecution()", [&] { m_means.queue.RemoveAllTasks(); });
}

} // namespace em
