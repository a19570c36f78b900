// What a script may say: one row a verb, one a thing that can be waited for. Parser, help and refusals walk
// these tables; docs/drive.md has the same rows.
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "contract/shutdown_actions.h"

namespace volad_dev {

enum class Verb {
    Create,
    Start,
    SecondStart,
    Cabinet,
    Request,
    Reply,
    Notify,
    Answer,
    Maintenance,
    Cancel,
    Status,
    Sleep,
    Wait,
    Expect,
    Refuse,
    Stop,
    Delete,
};

struct VerbRow {
    Verb verb;
    const char* name;
    const char* arguments; // empty for none
    const char* meaning;
    bool needsModule; // comes between create and delete
};

inline constexpr std::array<VerbRow, 17> kVerbs = {{
    {Verb::Create, "create", "", "load the module and call EM_Create", false},
    {Verb::Start, "start", "", "slot 4: the start", true},
    {Verb::SecondStart, "second-start", "", "slot 6: the second start step", true},
    {Verb::Cabinet, "cabinet", "N", "slot 10: the cabinet's number", true},
    {Verb::Request, "request", "JSON|NAME [KEY=VALUE ...]", "slot 8: a request, answered at once", true},
    {Verb::Reply, "reply", "JSON|NAME [KEY=VALUE ...]", "slot 7: a reply, which has no answer", true},
    {Verb::Notify, "notify", "NAME|CODE", "slot 13: a notification", true},
    {Verb::Answer, "answer", "KEY VALUE|none", "what the host knows from now on", false},
    {Verb::Maintenance, "maintenance", "on|off|missing", "what the maintenance tool says from now on", false},
    {Verb::Cancel, "cancel", "", "a request that cancels the shutdown", true},
    {Verb::Status, "status", "", "a request for the shutdown status", true},
    {Verb::Sleep, "sleep", "S", "let S seconds pass", false},
    {Verb::Wait, "wait", "CONDITION [within S]", "until it is so, 10 s at most", false},
    {Verb::Expect, "expect", "[no] CONDITION", "it is so now", false},
    {Verb::Refuse, "refuse", "CONDITION [within S]", "it does not become so, for 10 s", false},
    {Verb::Stop, "stop", "", "slot 5: the end", true},
    {Verb::Delete, "delete", "", "EM_Delete, and unload the module", true},
}};

// What can be waited for, expected and refused.
enum class Seen { Status, Answer, Trace, Message, Command };

struct SeenRow {
    Seen seen;
    const char* name;
    const char* arguments;
    const char* meaning;
    bool comes; // can be waited for; the other one is there or not
};

inline constexpr std::array<SeenRow, 5> kSeen = {{
    {Seen::Status, "status", "N|NAME", "the shutdown status", true},
    {Seen::Answer, "answer", "PART ...", "what the last request was answered", false},
    {Seen::Trace, "trace", "TEXT", "a line of the trace that holds the text", true},
    {Seen::Message, "message", "NAME|CODE [KEY=VALUE ...]", "a message of the module's", true},
    {Seen::Command, "command", "[poweroff|reboot|halt]", "a command that the module started", true},
}};

static_assert(std::ranges::all_of(em::kShutdownActions, [](const em::ShutdownAction& action) {
    const std::string_view command = action.command;
    return std::string_view(kSeen.back().arguments).find(command.substr(command.rfind('/') + 1)) !=
           std::string_view::npos;
}));

// "wait CONDITION [within S]".
template <class Row>
std::string syntaxOf(const Row& row) {
    return row.name + std::string(*row.arguments == '\0' ? "" : " ") + row.arguments;
}

inline constexpr double kWaitSeconds = 10;

// The row of that name, null for none.
template <class Rows>
constexpr auto findRow(const Rows& rows, std::string_view name) -> decltype(rows.data()) {
    for (const auto& row : rows) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace volad_dev
