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
    if (!messages.empty() && document.loadFile(messages.c_str()).loaded()) {
        const std::string code = fmt::format("0x{:06X}", em::kReasonEventCodes + reason);
        text = em::CLogMsgXmlFileImpl(document).Search(code.c_str(), "Summary", nullptr, 0);
    }
    return text.empty() ? em::lookUpReason(reason).text : text;
}

} // namespace

RequestRun::RequestRun(const RehearsalOptions& options, const Settings& settings, const DevelopmentHost& host,
                       em::CIExtensionModule& module, std::atomic<double>& requestTime,
                       std::optional<double> scheduledIn, RunLimits limits)
    : m_options(options),
      m_settings(settings),
      m_host(host),
      m_module(module),
      m_requestTime(requestTime),
      m_limits(limits),
      m_limit(monotonicNow() + scheduledIn.value_or(0) + limits.schedule),
      m_scheduled(scheduledIn.has_value()) {}

void RequestRun::follow() {
    if (!m_scheduled) {
        sendRequest();
    }
    while (!m_end && !hasEnded() && actWhenDue()) {
        if (!waitForNews()) {
            m_end = End::Interrupted;
        }
        noticeScheduledRequest();
    }
}

void RequestRun::sendRequest() {
    em::SipJson envelope = command(m_options.action->operationCode, m_settings.cabinet);
    envelope.SetUintMember(em::key::Data, m_options.reason);
    begin(monotonicNow());
    if (goesAsReply(*m_options.action)) {
        m_module.ApplicationReply(&envelope);
    } else if (!m_module.HandleRequest(&envelope) ||
               envelope.GetUint(em::key::Status, em::status::kMissing) != em::status::kAccepted) {
        m_end = End::NotAccepted;
    }
}

// Accepted in any case; the run shows what came of it.
void RequestRun::sendCancel() const {
    em::SipJson envelope = command(em::opcode::CM_ShutdownRequestCancelled, m_settings.cabinet);
    static_cast<void>(m_module.HandleRequest(&envelope));
}

void RequestRun::begin(double requestTime) {
    const auto after = [&](const std::optional<double>& seconds) {
        return seconds ? std::optional(requestTime + *seconds) : std::nullopt;
    };
    m_cancelAt = after(m_options.cancelAfter);
    m_stopAt = after(m_options.stopAfter);
    m_limit = requestTime + m_settings.shutdownDelay.value_or(*em::setting::kShutdownDelay.fallback) +
              m_settings.jobTimeout.value_or(*em::setting::kJobTimeout.fallback) + m_limits.slack;
    m_requestTime = requestTime;
}

// The first that a host hears of one: its echo, or the status with which it is refused.
void RequestRun::noticeScheduledRequest() {
    if (m_requestTime != 0) {
        return;
    }
    for (const Message& message : m_host.journal().messages()) {
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
    if (m_cancelAt && now >= *m_cancelAt) {
        m_cancelAt.reset();
        sendCancel();
    }
    if (m_stopAt && now >= *m_stopAt) {
        m_stopAsked = true;
        return false;
    }
    if (now >= m_limit) {
        m_end = m_requestTime == 0 ? End::NoRequest : End::TimedOut;
        return false;
    }
    return true;
}

bool RequestRun::hasEnded() const {
    return endOf(m_host.journal().messages(), m_stopAsked, !m_recorder.read().empty()).has_value();
}

// Until a message, a record or the next thing to do; false when the rehearsal shall end.
bool RequestRun::waitForNews() const {
    const double until = std::min({m_limit, m_cancelAt.value_or(HUGE_VAL), m_stopAt.value_or(HUGE_VAL)});
    const double left = std::clamp(until - monotonicNow(), 0.0, 3600.0);
    std::array<pollfd, 3> watched = {pollfd{m_host.journal().fd(), POLLIN, 0},
                                     pollfd{m_recorder.fd(), POLLIN, 0}, pollfd{m_options.stopFd, POLLIN, 0}};
    if (poll(watched.data(), watched.size(), static_cast<int>(std::ceil(left * 1000))) < 0) {
        return true; // a signal: look again
    }
    return watched[2].revents == 0;
}

End RequestRun::finalEnd() {
    const std::vector<Message> messages = m_host.journal().messages();
    const bool expected = endOf(messages, m_stopAsked, false) == End::NothingRan && !m_end;
    const bool commandSeen = m_recorder.waitForRecord(expected ? kCommandBound : kSettleBound).has_value();
    if (m_end) {
        return *m_end;
    }
    return endOf(messages, m_stopAsked, commandSeen).value_or(m_stopAsked ? End::Stopped : End::TimedOut);
}

Verdict RequestRun::conclude() {
    Verdict verdict;
    verdict.end = finalEnd();
    const std::vector<CommandRecord> records = m_recorder.read();
    if (!records.empty()) {
        verdict.command = records.front();
    }
    const em::ShutdownAction* const action =
        m_scheduled ? em::findShutdownAction(em::opcode::CM_RequestShutdownAndOff) : m_options.action;
    verdict.asAsked =
        verdict.end == askedEnd(m_options) &&
        (verdict.end == End::Command ? records.size() == 1 && records[0].commandLine() == action->command
                                     : records.empty());
    verdict.reason = m_scheduled ? em::kReasonRealtimeClock : m_options.reason;
    verdict.reasonName = reasonText(verdict.reason, m_options.messages);
    verdict.askedBy = askedBy(m_options, m_scheduled, verdict.reason);
    verdict.requestTime = m_requestTime;
    verdict.phases = phasesOf(m_host.journal().messages(), m_requestTime, verdict.command);
    return verdict;
}

} // namespace volad_dev
