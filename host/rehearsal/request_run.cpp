#include "host/rehearsal/request_run.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cmath>

#include <fmt/format.h>

#include "catalogue/log_msg_xml_file_impl.h"
#include "contract/envelope.h"
#include "contract/module_interface.h"
#include "contract/reasons.h"
#include "contract/settings.h"
#include "frame/envelope/sip_json.h"

namespace volad_dev {
namespace {

using namespace std::chrono_literals;

// How long a started command may take to write its record, and how long one is looked out for that must not
// come.
constexpr auto kCommandBound = 5s;
constexpr auto kSettleBound = 1s;

// A request that would be refused goes in as a reply.
bool goesAsReply(const em::ShutdownAction& action) {
    return action.requestStatus != em::status::kAccepted;
}

em::SipJson command(uint32_t opcode, uint32_t cabinet) {
    em::SipJson envelope;
    envelope.InitEnvelope();
    envelope.SetCommand(opcode, 0, 0, cabinet, em::status::kKeep);
    return envelope;
}

std::string askedBy(const RehearsalOptions& options, bool scheduled, uint8_t reason) {
    if (scheduled) {
        return "schedule";
    }
    if (reason == em::kReasonPowerSwitch) {
        return "power switch";
    }
    return goesAsReply(*options.action) ? "reply" : "request";
}

// What the module makes of it: the message file's text, else the table's.
std::string reasonText(uint8_t reason, const std::string& messages) {
    em::XmlDocument document;
    std::string text;
    if (!messages.empty() && document.LoadFile(messages.c_str()).loaded()) {
        const std::string code = fmt::format("0x{:06X}", em::kReasonEventCodes + reason);
        text = em::CLogMsgXmlFileImpl(document).Search(code.c_str(), "Summary", nullptr, 0);
    }
    return text.empty() ? em::lookUpReason(reason).text : text;
}

} // namespace

RequestRun::RequestRun(const RehearsalOptions& options, const Settings& settings, const DevelopmentHost& host,
                       em::CIExtensionModule& module, std::atomic<double>& requestTime,
                       std::optional<double> scheduledIn, RunLimits limits)
    : m_Options(options),
      m_Settings(settings),
      m_Host(host),
      m_Module(module),
      m_RequestTime(requestTime),
      m_Limits(limits),
      m_Limit(monotonicNow() + scheduledIn.value_or(0) + limits.schedule),
      m_bScheduled(scheduledIn.has_value()) {}

void RequestRun::follow() {
    if (!m_bScheduled) {
        sendRequest();
    }
    while (!m_End && !hasEnded() && actWhenDue()) {
        if (!waitForNews()) {
            m_End = End::Interrupted;
        }
        noticeScheduledRequest();
    }
}

void RequestRun::sendRequest() {
    em::SipJson envelope = command(m_Options.action->operationCode, m_Settings.cabinet);
    envelope.SetUintMember(em::key::Data, m_Options.reason);
    begin(monotonicNow());
    if (goesAsReply(*m_Options.action)) {
        m_Module.ApplicationReply(&envelope);
    } else if (!m_Module.HandleRequest(&envelope) ||
               envelope.GetUint(em::key::Status, em::status::kMissing) != em::status::kAccepted) {
        m_End = End::NotAccepted;
    }
}

// Accepted in any case; the run shows what came of it.
void RequestRun::sendCancel() const {
    em::SipJson envelope = command(em::opcode::CM_ShutdownRequestCancelled, m_Settings.cabinet);
    static_cast<void>(m_Module.HandleRequest(&envelope));
}

void RequestRun::begin(double requestTime) {
    const auto after = [&](const std::optional<double>& seconds) {
        return seconds ? std::optional(requestTime + *seconds) : std::nullopt;
    };
    m_CancelAt = after(m_Options.cancelAfter);
    m_StopAt = after(m_Options.stopAfter);
    m_Limit = requestTime + m_Settings.shutdownDelay.value_or(*em::setting::kShutdownDelay.fallback) +
              m_Settings.jobTimeout.value_or(*em::setting::kJobTimeout.fallback) + m_Limits.slack;
    m_RequestTime = requestTime;
}

// The first that a host hears of one: its echo, or the status with which it is refused.
void RequestRun::noticeScheduledRequest() {
    if (m_RequestTime != 0) {
        return;
    }
    for (const Message& message : m_Host.journal().messages()) {
        if (message.opcode == em::opcode::CM_RequestShutdownAndOff ||
            message.opcode == em::opcode::kShutdownStatusChanged) {
            begin(message.time);
            return;
        }
    }
}

// False when the module shall be stopped.
bool RequestRun::actWhenDue() {
    const double now = monotonicNow();
    if (m_CancelAt && now >= *m_CancelAt) {
        m_CancelAt.reset();
        sendCancel();
    }
    if (m_StopAt && now >= *m_StopAt) {
        m_bStopAsked = true;
        return false;
    }
    if (now >= m_Limit) {
        m_End = m_RequestTime == 0 ? End::NoRequest : End::TimedOut;
        return false;
    }
    return true;
}

bool RequestRun::hasEnded() const {
    return endOf(m_Host.journal().messages(), m_bStopAsked, !m_Recorder.read().empty()).has_value();
}

// Until a message, a record or the next thing to do; false when the rehearsal shall end.
bool RequestRun::waitForNews() const {
    const double until = std::min({m_Limit, m_CancelAt.value_or(HUGE_VAL), m_StopAt.value_or(HUGE_VAL)});
    const double left = std::clamp(until - monotonicNow(), 0.0, 3600.0);
    std::array<pollfd, 3> watched = {pollfd{m_Host.journal().fd(), POLLIN, 0},
                                     pollfd{m_Recorder.fd(), POLLIN, 0}, pollfd{m_Options.stopFd, POLLIN, 0}};
    if (poll(watched.data(), watched.size(), static_cast<int>(std::ceil(left * 1000))) < 0) {
        return true; // a signal: look again
    }
    return watched[2].revents == 0;
}

End RequestRun::finalEnd() {
    const std::vector<Message> messages = m_Host.journal().messages();
    const bool expected = endOf(messages, m_bStopAsked, false) == End::NothingRan && !m_End;
    const bool commandSeen = m_Recorder.waitForRecord(expected ? kCommandBound : kSettleBound).has_value();
    if (m_End) {
        return *m_End;
    }
    return endOf(messages, m_bStopAsked, commandSeen).value_or(m_bStopAsked ? End::Stopped : End::TimedOut);
}

Verdict RequestRun::conclude() {
    Verdict verdict;
    verdict.end = finalEnd();
    const std::vector<CommandRecord> records = m_Recorder.read();
    if (!records.empty()) {
        verdict.command = records.front();
    }
    const em::ShutdownAction* const action =
        m_bScheduled ? em::findShutdownAction(em::opcode::CM_RequestShutdownAndOff) : m_Options.action;
    verdict.asAsked =
        verdict.end == askedEnd(m_Options) &&
        (verdict.end == End::Command ? records.size() == 1 && records[0].commandLine() == action->command
                                     : records.empty());
    verdict.reason = m_bScheduled ? em::kReasonRealtimeClock : m_Options.reason;
    verdict.reasonName = reasonText(verdict.reason, m_Options.messages);
    verdict.askedBy = askedBy(m_Options, m_bScheduled, verdict.reason);
    verdict.requestTime = m_RequestTime;
    verdict.phases = phasesOf(m_Host.journal().messages(), m_RequestTime, verdict.command);
    return verdict;
}

} // namespace volad_dev
