#include "host/rehearsal/request_run.h"

#include <poll.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cmath>

#include <fmt/format.h>

#include "catalogue/log_msg_xml_file_impl.h"
#include "contract/envelope.h"
#include "contract/module_interface.h"
#include "contract/reasons.h"
#include "contract/settings.h"
#include "contract/shutdown_actions.h"
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

Asked askedBy(const RehearsalOptions& options, bool scheduled) {
    const uint8_t reason = scheduled ? em::kReasonRealtimeClock : options.reason;
    const char* const by = scheduled                          ? "schedule"
                           : goesAsReply(*options.action)     ? "reply"
                           : reason == em::kReasonPowerSwitch ? "power-switch"
                                                              : "request";
    return {by, options.action->name, reason, reasonText(reason, options.messages)};
}

} // namespace

RunEnd askedEnd(const RehearsalOptions& options) {
    if (options.maintenance != Maintenance::On) {
        return RunEnd::GateRefused;
    }
    if (options.stopAfter && (!options.cancelAfter || *options.stopAfter < *options.cancelAfter)) {
        return RunEnd::Stopped;
    }
    if (options.cancelAfter) {
        return RunEnd::Cancelled;
    }
    return options.uid == 0 ? RunEnd::Command : RunEnd::NotPermitted;
}

RequestRun::RequestRun(const RehearsalOptions& options, const Settings& settings, DevelopmentHost& host,
                       em::CIExtensionModule& module, std::atomic<double>& requestTime,
                       std::optional<double> scheduledIn, std::function<void(const ShutdownRun&)> progress,
                       RunLimits limits)
    : m_options(options),
      m_settings(settings),
      m_host(host),
      m_module(module),
      m_requestTime(requestTime),
      m_progress(std::move(progress)),
      m_limits(limits),
      m_limit(monotonicNow() + scheduledIn.value_or(0) + limits.schedule),
      m_scheduled(scheduledIn.has_value()),
      m_asked(askedBy(options, m_scheduled)) {}

void RequestRun::follow() {
    if (!m_scheduled) {
        sendRequest();
    }
    while (!m_end && !hasEnded() && actWhenDue()) {
        report();
        if (!waitForNews()) {
            m_end = RunEnd::Interrupted;
        }
        noticeScheduledRequest();
    }
}

void RequestRun::sendRequest() {
    em::SipJson envelope = command(m_options.action->operationCode, m_settings.cabinet);
    envelope.SetUintMember(em::key::Data, m_options.reason);
    begin(m_host.journal().add(messageOf(envelope, true)));
    if (goesAsReply(*m_options.action)) {
        m_module.ApplicationReply(&envelope);
        return;
    }
    const bool accepted = m_module.HandleRequest(&envelope) &&
                          envelope.GetUint(em::key::Status, em::status::kMissing) == em::status::kAccepted;
    m_host.journal().add(messageOf(envelope, false)); // the answer
    if (!accepted) {
        m_end = RunEnd::NotAccepted;
    }
}

// Accepted in any case; the run shows what came of it.
void RequestRun::sendCancel() const {
    em::SipJson envelope = command(em::opcode::CM_ShutdownRequestCancelled, m_settings.cabinet);
    m_host.journal().add(messageOf(envelope, true));
    static_cast<void>(m_module.HandleRequest(&envelope));
    m_host.journal().add(messageOf(envelope, false));
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
        if (!message.toModule && (message.opcode == em::opcode::CM_RequestShutdownAndOff ||
                                  message.opcode == em::opcode::kShutdownStatusChanged)) {
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
        m_end = m_requestTime == 0 ? RunEnd::NoRequest : RunEnd::TimedOut;
        return false;
    }
    return true;
}

bool RequestRun::hasEnded() const {
    return endOf(m_host.journal().messages(), m_stopAsked, !commands().ofModule.empty()).has_value();
}

// Until a message, a record or the next thing to do; false when the rehearsal shall end.
bool RequestRun::waitForNews() const {
    const double until = std::min({m_limit, m_cancelAt.value_or(HUGE_VAL), m_stopAt.value_or(HUGE_VAL)});
    const double left = std::clamp(until - monotonicNow(), 0.0, 3600.0);
    std::array<pollfd, 4> watched = {
        pollfd{m_options.stopFd, POLLIN, 0}, pollfd{m_host.journal().fd(), POLLIN, 0},
        pollfd{m_recorder.fd(), POLLIN, 0}, pollfd{m_host.jobWatch().fd(), POLLIN, 0}};
    if (poll(watched.data(), watched.size(), static_cast<int>(std::ceil(left * 1000))) < 0) {
        return true; // a signal: look again
    }
    return watched[0].revents == 0;
}

StartedCommands RequestRun::commands() const {
    return readCommands(m_recorder, m_host.jobWatch().sighting());
}

// Something that the module started besides the job, whether it is recorded or not.
bool RequestRun::startedSomething() const {
    const std::optional<JobSighting> job = m_host.jobWatch().sighting();
    siginfo_t info = {};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0 &&
           !(job && info.si_pid == job->pid);
}

Sighted RequestRun::sighted(const StartedCommands& commands) const {
    Sighted sighted = {m_host.journal().messages(), m_host.jobWatch().sighting(), {}, m_requestTime};
    if (!commands.ofModule.empty()) {
        sighted.command = commands.ofModule.front();
    }
    return sighted;
}

void RequestRun::report() const {
    ShutdownRun run;
    run.asked = m_asked;
    if (m_requestTime != 0) {
        const Sighted seen = sighted(commands()); // before the clock is read: nothing in it is later
        readRun(seen, m_settings, monotonicNow(), run);
    }
    m_progress(run);
}

RunEnd RequestRun::finalEnd() {
    const std::vector<Message> messages = m_host.journal().messages();
    const bool expected =
        endOf(messages, m_stopAsked, false) == RunEnd::NotPermitted && m_options.uid == 0 && !m_end;
    // The module's first: what the job wrote there before it is not waited for.
    static_cast<void>(
        m_recorder.waitForRecord(expected ? kCommandBound : kSettleBound, commands().countOfJob()));
    if (m_end) {
        return *m_end;
    }
    const bool commandSeen =
        !commands().ofModule.empty() || (m_options.uid == 0 && !m_stopAsked && startedSomething());
    return endOf(messages, m_stopAsked, commandSeen)
        .value_or(m_stopAsked ? RunEnd::Stopped : RunEnd::TimedOut);
}

ShutdownRun RequestRun::conclude() {
    ShutdownRun run;
    run.end = finalEnd();
    run.asked = m_asked;
    const StartedCommands started = commands();
    Sighted seen = sighted(started);
    const bool requested = m_requestTime != 0;
    if (!requested) {
        seen.requestTime = monotonicNow(); // it never came: all times are before the end
    }
    readRun(seen, m_settings, endTime(seen), run);
    if (!requested) {
        run.phases.clear();
    }
    const bool itsCommand =
        started.ofModule.size() == 1 && started.ofModule[0].commandLine() == m_options.action->command;
    run.asAsked = run.end == askedEnd(m_options) && started.ofJob.empty() && !m_recorder.wasCut() &&
                  (run.end == RunEnd::Command ? itsCommand : started.ofModule.empty());
    if (!started.ofJob.empty()) {
        const size_t more = started.ofJob.size() - 1;
        run.warnings.push_back(
            {"command-by-job",
             fmt::format("the job itself started {}{}, which would have ended this system then",
                         started.ofJob.front().commandLine(),
                         more == 0 ? "" : fmt::format(" and {} more", more))});
    }
    if (!started.harmless.empty()) {
        run.warnings.push_back(
            {"service-manager-not-real",
             fmt::format(
                 "the job called the service manager {}, first \"{}\": a stand-in, which does nothing "
                 "and succeeds",
                 started.harmless.size() == 1 ? "once" : fmt::format("{} times", started.harmless.size()),
                 started.harmless.front().commandLine())});
    }
    if (run.end == RunEnd::Command && started.ofModule.empty()) {
        run.warnings.push_back({"command-not-recorded",
                                "what the module started left no record: the job removed "
                                "it, or the right to write it"});
    }
    if (m_recorder.wasCut()) {
        run.warnings.push_back({"record-cut",
                                "the record of commands was cut: one that the job started may be "
                                "missing"});
    }
    if (started.garbled > 0) {
        run.warnings.push_back(
            {"record-garbled", fmt::format("{} lines in the record of commands are not the "
                                           "recorder's",
                                           started.garbled)});
    }
    return run;
}

} // namespace volad_dev
