// A line of a script, as it was understood.
#pragma once

#include <optional>
#include <string>
#include <variant>

#include "contract/shutdown_actions.h"
#include "host/drive/envelope_form.h"
#include "host/drive/script_verbs.h"
#include "host/rehearsal/rehearsal_options.h"
#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// What the host shall know: a key of the settings file with its value as JSON, or nothing to drop it.
struct SettingChange {
    std::string key;
    std::optional<std::string> value;
    std::optional<Schedule> moment; // in place of both: the one power-off time
};

// What shall be seen, or shall not.
struct Expectation {
    Seen seen;
    std::string text; // as the script has it, for a failure
    bool absent = false;
    double within = kWaitSeconds;
    std::optional<uint32_t> code;               // a status, of the shutdown or an answer; an operation code
    std::optional<bool> handled;                // an answer's request
    std::string sought{};                       // in the trace or an answer
    std::optional<std::string> json{};          // a whole answer
    std::vector<Member> members{};              // of an answer or a message
    const em::ShutdownAction* action = nullptr; // whose command; null for any
};

struct Statement {
    const VerbRow* verb;
    unsigned line;
    std::string text; // as it stands, without a comment and blanks around it
    // Of cabinet and notify a number, of sleep the seconds.
    std::variant<std::monostate, uint32_t, double, EnvelopeForm, SettingChange, Maintenance, Expectation>
        arguments;
};

} // namespace volad_dev
