#include "shutdown/alert_sequence.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "catalogue/log_msg_file.h"
#include "frame/module/cabinet_number.h"
#include "shutdown/host_settings.h"
#include "shutdown/operation_codes.h"
#include "shutdown/reason_table.h"
#include "shutdown/shutdown_module.h"
#include "trace/boundary.h"

namespace em {
namespace {

constexpr const char* kTitle = "Automatic System Shutdown";
constexpr uint32_t kDefaultDelay = 60;       // seconds
constexpr uint32_t kDefaultForceDelay = 120; // seconds
constexpr uint32_t kDefaultJobTimeout = 120; // seconds
constexpr int kLanguageId = 1033;            // English

// Kinds of the executor.
constexpr uint32_t kRestart = 2;
constexpr uint32_t kHalt = 4;
constexpr uint32_t kPowerOff = 8;

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

void AlertSequence::Run() {
    Outcome outcome = Outcome::Ended;
    if (!atBoundary("OnTaskExecution()", [&] { outcome = Prepare(); })) {
        // Nothing may be left "pending" with no task behind it.
        static_cast<void>(swallow([&] { m_Module.Cancel(true); }));
        return;
    }
    if (outcome == Outcome::GoOn && !atBoundary("OnTaskExecution()", [&] { outcome = Execute(); })) {
        outcome = Outcome::Stopped; // the command may have been started
    }
    if (outcome == Outcome::GoOn || outcome == Outcome::Stopped) {
        Finish();
    }
}

AlertSequence::Outcome AlertSequence::Prepare() {
    Announce();
    if (!PassesGate()) {
        return Outcome::Ended;
    }
    AcceptRequest();
    ReadReason();
    ReadDelays();
    WaitDelay();
    if (EndsCancelled()) {
        return Outcome::Ended;
    }
    if (m_Module.m_bStop) {
        return Outcome::Stopped;
    }
    AnnounceShutdown();
    RunJob();
    return Outcome::GoOn;
}

AlertSequence::Outcome AlertSequence::Execute() {
    ShutDown();
    return EndsCancelled() ? Outcome::Ended : Outcome::GoOn;
}

void AlertSequence::Announce() {
    EM_TRACE(1, "\nEM_SHUTDOWN         : CAB %04d: ## CM_RequestShutdownAndXXX ##",
             asInt(m_Request.GetUint("CA", 0)));
}

bool AlertSequence::PassesGate() {
    if (m_Module.QueryMaintenanceMode() == MaintenanceMode::Enabled) {
        return true;
    }
    EM_TRACE(1, "\nEM_SHUTDOWN         : Maintenance Mode not set. Shutdown aborted!");
    m_Module.Cancel(true);
    return false;
}

void AlertSequence::AcceptRequest() {
    if (m_Request.GetUint("ST", status::kMissing) != status::kNotEchoed) {
        m_Module.SendNotification(m_Request);
    }
    m_Module.ChangeStatus(ShutdownStatus::DelayRunning);
    if (&m_Module.m_PendingRequest != &m_Request) {
        m_Module.m_PendingRequest = m_Request;
    }
}

void AlertSequence::ReadReason() {
    uint32_t data = 0;
    if (!m_Request.GetDataUint(data)) {
        data = 0;
    }
    m_nReason = static_cast<uint8_t>(data);
    EM_TRACE(3, "\n                    :   reason = 0x%02X", unsigned{m_nReason});
    EM_TRACE(3, "\nEM_SHUTDOWN         : Message LANGID: %d", kLanguageId);
    m_strReason = CatalogueText();
    if (m_strReason.empty()) {
        m_strReason = TableText();
    }
    EM_TRACE(1, "\nEM_SHUTDOWN         : Shutdown reason: \"%s\"", m_strReason.c_str());
}

std::string AlertSequence::CatalogueText() const {
    CLogMsgFile catalogue;
    if (!catalogue.Open(true)) {
        return {};
    }
    const uint32_t eventCode = kReasonEventCodes + m_nReason;
    std::array<char, 16> key;
    std::snprintf(key.data(), key.size(), catalogue.EventMessages() ? "0x%06X" : "0x%04X", eventCode);
    std::string text = catalogue.LookUp(key.data(), "Summary", nullptr, 0);
    EM_TRACE(3, "\nEM_SHUTDOWN         : EventCode 0x%X: Got error summary message (LANGID %d): \"%s\"",
             eventCode, kLanguageId, text.c_str());
    return text;
}

std::string AlertSequence::TableText() const {
    const ReasonName name = LookUpReason(m_nReason);
    if (name.isDefault) {
        traceDefaultMessageUsed();
    }
    return name.text;
}

void AlertSequence::ReadDelays() {
    EM_TRACE(2, "\nEM_SHUTDOWN         : Checking shutdown settings");
    EM_TRACE(3, "\nEM_SHUTDOWN         :    get shutdown delay...");
    if (const auto delay = ReadNumberSetting(m_Module, setting::kShutdownDelay)) {
        m_nDelay = *delay;
        EM_TRACE(3, "\nEM_SHUTDOWN         :    shutdown delay (ORBA) = %d sec.", asInt(m_nDelay));
    } else {
        m_nDelay = kDefaultDelay;
        EM_TRACE(3, "\nEM_SHUTDOWN         : ## WARNING! No shutdown delay specified!");
    }
    EM_TRACE(3, "\nEM_SHUTDOWN         :    get shutdown force delay...");
    if (const auto delay = ReadNumberSetting(m_Module, setting::kForceDelay)) {
        m_nForceDelay = *delay;
        EM_TRACE(3, "\nEM_SHUTDOWN         :    shutdown force delay (ORBA) = %d sec.", asInt(m_nForceDelay));
    } else {
        m_nForceDelay = kDefaultForceDelay;
        EM_TRACE(3, "\nEM_SHUTDOWN         : ## WARNING! No shutdown force delay specified!");
    }
}

// A cancel does not end the delay, it is found behind it; only Stop does.
void AlertSequence::WaitDelay() {
    if (m_nReason == kReasonPowerSwitch) {
        return;
    }
    EM_TRACE(3, "\nEM_SHUTDOWN         :    suppress shutdown cancel message box - no user is logged in!");
    EM_TRACE(3, "\nEM_SHUTDOWN         : Start shutdown delay %d sec...", asInt(m_nDelay));
    m_Module.SleepOn(m_Module.m_DelayEvent, delayMs(m_nDelay), false);
    EM_TRACE(3, "\nEM_SHUTDOWN         : ...shutdown delay %d exceeded", asInt(m_nDelay));
}

bool AlertSequence::EndsCancelled() {
    if (!m_Module.m_State.IsCancelled()) {
        return false;
    }
    EM_TRACE(1, "\nEM_SHUTDOWN         : CAB %04d: System shutdown was cancelled by ORBA call!",
             asInt(cabinetNumber()));
    m_Module.Cancel(true);
    return true;
}

void AlertSequence::AnnounceShutdown() {
    EM_TRACE(1, "\nEM_SHUTDOWN         : CAB %04d: ###  PERFORMING S H U T D O W N  ####!\n\n",
             asInt(m_Request.GetUint("CA", 0)));
    m_strMessage = "System shutdown due to a " + m_strReason + " event!";
    traceDefaultMessageUsed(); // the message's text is never looked up
    m_Module.m_Executor.DisplayShutdownAction(kTitle, m_strMessage.c_str());
}

void AlertSequence::RunJob() {
    EM_TRACE(2, "\nEM_SHUTDOWN         : Checking shutdown job settings ..");
    EM_TRACE(3, "\nEM_SHUTDOWN         : Reading shutdwon job settings ..");
    const std::string job = ReadTextSetting(m_Module, setting::kJobName);
    EM_TRACE(3, "\nEM_SHUTDOWN         : Job executable name (ORBA): %s", job.c_str());
    const std::string directory = ReadTextSetting(m_Module, setting::kJobDirectory);
    EM_TRACE(3, "\nEM_SHUTDOWN         : Job working dir (ORBA): %s", directory.c_str());
    const uint32_t timeout = ReadNumberSetting(m_Module, setting::kJobTimeout).value_or(kDefaultJobTimeout);
    EM_TRACE(3, "\nEM_SHUTDOWN         : Job timeout (ORBA): %d sec.", asInt(timeout));
    EM_TRACE(3, "\nEM_SHUTDOWN         :   Shutdown job = %s", job.c_str());
    EM_TRACE(3, "\nEM_SHUTDOWN         :   Shutdown job working dir = %s", directory.c_str());
    EM_TRACE(3, "\nEM_SHUTDOWN         :   Shutdown job timeout = %d", asInt(timeout));
    if (job.empty()) {
        EM_TRACE(2, "\nEM_SHUTDOWN         : No shutdown job configured");
        return;
    }
    EM_TRACE(2, "\nEM_SHUTDOWN         : Run shutdown job (%s)!", job.c_str());
    // A job that fails does not keep the system up; its own lines tell.
    static_cast<void>(m_Module.m_Executor.RunShutdownJob(job.c_str(), directory.c_str(), timeout));
}

void AlertSequence::ShutDown() {
    switch (m_Request.GetUint("OC", 0)) {
    case opcode::CM_RequestShutdownAndReset:
        EM_TRACE(3, "\nEM_SHUTDOWN         : CM_RequestShutdownAndReset: execute shutdown and restart");
        static_cast<void>(m_Module.m_Executor.SystemShutdown(kRestart, m_nForceDelay, m_strMessage.c_str()));
        break;
    case opcode::CM_RequestShutdownAndHalt:
        EM_TRACE(3, "\nEM_SHUTDOWN         : CM_RequestShutdownAndHalt: execute shutdown and system halt");
        static_cast<void>(m_Module.m_Executor.SystemShutdown(kHalt, m_nForceDelay, m_strMessage.c_str()));
        break;
    case opcode::CM_RequestShutdownAndOff:
        PowerOff();
        break;
    default:
        break;
    }
}

void AlertSequence::PowerOff() {
    EM_TRACE(3, "\nEM_SHUTDOWN         : CM_RequestShutdownAndOff:");
    EM_TRACE(3, "\nEM_SHUTDOWN         :   set power off reason...");
    m_Module.SendPowerOffReason(m_nReason);

    EM_TRACE(3, "\nEM_SHUTDOWN         :   fire power-on status event...");
    SipJson event;
    event.InitEnvelope();
    event.SetOpcode(opcode::kPowerOnStatusEvent, 0, 0);
    event.SetStatus(status::kAccepted);
    const std::array<uint8_t, 2> data{0, m_nReason};
    event.SetRawData(data.data(), data.size());
    m_Module.SendNotification(event);

    EM_TRACE(3, "\nEM_SHUTDOWN         :   execute shutdown and off");
    static_cast<void>(m_Module.m_Executor.SystemShutdown(kPowerOff, m_nForceDelay, m_strMessage.c_str()));
}

// From here on the queue takes no task, until the object is deleted. Each part is due even when a line of the
// one before it could not be written.
void AlertSequence::Finish() {
    atBoundary("OnTaskExecution()", [&] { m_Module.ChangeStatus(ShutdownStatus::Executing); });
    atBoundary("OnTaskExecution()", [&] { m_Module.DisableAllTasks(); });
    atBoundary("OnTaskExecution()", [&] { m_Module.RemoveAllTasks(); });
}

} // namespace em
