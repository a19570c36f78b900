#include "host/drive/script_run.h"

#include <fmt/format.h>

#include "contract/operation_codes.h"
#include "host/common/failure.h"
#include "host/drive/code_names.h"
#include "host/drive/power_off_moment.h"
#include "host/hosting/envelope_text.h"

namespace volad_dev {
namespace {

constexpr unsigned kEveryLine = 5; // level: whatever is waited for shall be there

const char* handledText(bool handled) {
    return handled ? "handled" : "unhandled";
}

// "status 3 within 2 s".
std::string wanted(const Expectation& expectation, bool takesTime) {
    return takesTime ? fmt::format("{} within {} s", expectation.text, expectation.within) : expectation.text;
}

} // namespace

ScriptRun::ScriptRun(const DriveOptions& options, const Settings& settings, EventSender& events)
    : m_events(events),
      m_begin(monotonicNow()),
      m_shown(options.trace.has_value()),
      m_patience(options.stopFd, options.limit),
      m_settings(settings),
      m_sink([this](const std::string& line) { traced(line); }),
      m_host(settings, [this](const Message& message) { told(message); }),
      m_sightings(m_host, m_trace),
      m_module(options.module, options.trace.value_or(kEveryLine), m_host) {
    if (m_maintenance.isForeign()) {
        tell("    the scratch directory has a maintenance tool or its answer already: that counts");
    }
}

void ScriptRun::tell(const std::string& text) const {
    m_events.said(fmt::format("[{:8.3f}] {}", monotonicNow() - m_begin, text));
}

// On a thread of the module's, under locks of its own.
void ScriptRun::traced(const std::string& line) {
    m_trace.add(line);
    if (m_shown) {
        m_events.trace(monotonicNow() - m_begin, "  | " + line);
    }
}

void ScriptRun::told(const Message& message) const {
    if (m_shown) {
        tell(fmt::format("  {} {} {}", message.toModule ? ">" : "<", operationText(message.opcode),
                         message.envelope));
    }
}

void ScriptRun::execute(const Statement& statement, const std::string& directory) {
    m_patience.check();
    const std::string result = carryOut(statement, directory);
    tell(fmt::format("{:>3} {}{}{}", statement.line, statement.text, result.empty() ? "" : ": ", result));
}

std::string ScriptRun::carryOut(const Statement& statement, const std::string& directory) {
    const auto& arguments = statement.arguments;
    switch (statement.verb->verb) {
    case Verb::Create:
        if (!m_module.exists()) {
            m_sightings.begin();
        }
        m_module.create(m_settings);
        return m_module.name();
    case Verb::Start:
        return fmt::format("{}", m_module.start());
    case Verb::SecondStart:
        m_module.slots().AfterStart();
        return "";
    case Verb::Cabinet:
        m_module.setCabinet(std::get<uint32_t>(arguments));
        return "";
    case Verb::Request:
    case Verb::Cancel:
    case Verb::Status:
        return request(std::get<EnvelopeForm>(arguments));
    case Verb::Reply:
        return reply(std::get<EnvelopeForm>(arguments));
    case Verb::Notify:
        return std::to_string(m_module.slots().Notify(std::get<uint32_t>(arguments), 0, 0));
    case Verb::Answer:
        return answer(std::get<SettingChange>(arguments), directory);
    case Verb::Maintenance:
        m_maintenance.set(std::get<Maintenance>(arguments));
        return "";
    case Verb::Sleep:
        static_cast<void>(m_patience.wait({}, monotonicNow() + std::get<double>(arguments)));
        return "";
    case Verb::Wait:
        return wait(std::get<Expectation>(arguments));
    case Verb::Expect:
        return expect(std::get<Expectation>(arguments));
    case Verb::Refuse:
        return refuse(std::get<Expectation>(arguments));
    case Verb::Stop:
        return std::to_string(m_module.stop());
    case Verb::Delete:
        return m_module.destroy() ? "1" : "0";
    }
    return "";
}

std::string ScriptRun::request(const EnvelopeForm& form) {
    em::SipJson envelope = envelopeOf(form, m_module.cabinet());
    m_handled = m_module.slots().HandleRequest(&envelope);
    m_answer = envelope; // a copy: what the module has put in may end with its library
    const std::string status =
        m_answer.HasMember(em::key::Status)
            ? fmt::format("status {}", m_answer.GetUint(em::key::Status, em::status::kMissing))
            : "no status";
    uint32_t data = 0;
    const bool isState = m_answer.GetUint(em::key::OperationCode, 0) == em::opcode::kShutdownStatusQuery &&
                         m_answer.GetDataUint(data);
    return fmt::format("{}, {}, {}{}", handledText(m_handled), status, envelopeText(m_answer),
                       isState ? ", shutdown status " + statusText(data) : "");
}

std::string ScriptRun::reply(const EnvelopeForm& form) {
    em::SipJson envelope = envelopeOf(form, m_module.cabinet());
    m_module.slots().ApplicationReply(&envelope);
    return envelopeText(envelope);
}

std::string ScriptRun::answer(const SettingChange& change, const std::string& directory) {
    if (change.moment) {
        applyMoment(m_settings, *change.moment);
    } else if (change.value) {
        changeSetting(m_settings, change.key, *change.value, "answer", directory);
    } else {
        dropSetting(m_settings, change.key, "answer");
    }
    m_host.setSettings(m_settings);
    return "";
}

std::string ScriptRun::wait(const Expectation& expectation) {
    const double begin = monotonicNow();
    while (!m_sightings.take(expectation)) {
        if (!m_patience.wait(m_sightings.news(expectation.seen), begin + expectation.within)) {
            if (m_sightings.take(expectation)) {
                break;
            }
            throw Failure(fmt::format("expected {}, seen: {}", wanted(expectation, true),
                                      m_sightings.seen(expectation)));
        }
    }
    return fmt::format("after {:.3f} s", monotonicNow() - begin);
}

std::string ScriptRun::refuse(const Expectation& expectation) {
    const double begin = monotonicNow();
    for (bool isOver = false;;) {
        if (const std::optional<std::string> found = m_sightings.take(expectation)) {
            throw Failure(fmt::format("expected no {}, seen: {} after {:.3f} s", wanted(expectation, true),
                                      *found, monotonicNow() - begin));
        }
        if (isOver) {
            return "";
        }
        isOver = !m_patience.wait(m_sightings.news(expectation.seen), begin + expectation.within);
    }
}

std::string ScriptRun::expect(const Expectation& expectation) {
    bool isSo = false;
    std::string seen;
    if (expectation.seen == Seen::Answer) {
        isSo = isAnswered(expectation);
        seen = fmt::format("{}, {}", handledText(m_handled), envelopeText(m_answer));
    } else if (expectation.seen == Seen::Status) {
        const uint32_t status = askStatus();
        isSo = status == expectation.code;
        seen = "status " + statusText(status);
    } else {
        const std::optional<std::string> found = m_sightings.find(expectation);
        isSo = found.has_value();
        seen = found ? *found : m_sightings.seen(expectation);
    }
    if (isSo == expectation.absent) {
        throw Failure(fmt::format("expected {}{}, seen: {}", expectation.absent ? "no " : "",
                                  wanted(expectation, false), seen));
    }
    return "";
}

// By the module itself: what it has told may have been overtaken.
uint32_t ScriptRun::askStatus() const {
    em::SipJson query = envelopeOf({{}, em::opcode::kShutdownStatusQuery, {}}, m_module.cabinet());
    m_module.slots().HandleRequest(&query);
    uint32_t status = 0;
    static_cast<void>(query.GetDataUint(status));
    return status;
}

bool ScriptRun::isAnswered(const Expectation& expectation) const {
    const bool statusFits =
        !expectation.code || m_answer.GetUint(em::key::Status, em::status::kMissing) == *expectation.code;
    const bool textFits = envelopeText(m_answer).find(expectation.sought) != std::string::npos;
    const bool wholeFits = !expectation.json || isSameJson(m_answer, *expectation.json);
    const bool handledFits = !expectation.handled || m_handled == *expectation.handled;
    return handledFits && statusFits && textFits && wholeFits && hasMembers(m_answer, expectation.members);
}

void ScriptRun::finish() {
    m_patience.check();
    if (m_module.takeDown()) {
        tell("    end of the script: the module was stopped and deleted");
    }
}

} // namespace volad_dev
