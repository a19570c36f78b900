// What the module can bring a system to, one row an action: what sets one apart from another stands here.
// Requests, replies, the alert sequence, the executor and the tools walk this table.
// Why: docs/decisions/contract-in-one-room.md
#pragma once

#include <array>
#include <cstdint>

#include "contract/envelope.h"
#include "contract/operation_codes.h"

namespace em {

// The executor's numbers.
enum class ShutdownKind : uint32_t { Reset = 2, Halt = 4, Off = 8 };

struct ShutdownAction {
    const char* name; // on the tools' command line
    uint32_t operationCode;
    ShutdownKind kind;
    // As a request: its line (level 2), and the answer. With status::kAccepted it is queued, with any other
    // it is refused; either way it counts as handled.
    const char* requestLine;
    uint32_t requestStatus;
    const char* replyLine; // level 1; a reply is always queued
    // Level 3, ahead of the command. With the first, which may be null, the host is told that the power goes:
    // power-off reason and power-on status event come between the two lines.
    const char* powerLine;
    const char* executeLine;
    const char* commandLine; // level 1, the executor's, with the command
    const char* command;     // run by the shell
    const char* forcedCommand;
};

// Power-off last: it is what the executor does for a kind that is none of these.
inline constexpr std::array<ShutdownAction, 3> kShutdownActions = {{
    {.name = "reset",
     .operationCode = opcode::CM_RequestShutdownAndReset,
     .kind = ShutdownKind::Reset,
     .requestLine = "\nEM_SHUTDOWN         :  # Request CM_RequestShutdownAndReset #",
     .requestStatus = status::kAccepted,
     .replyLine = "\nEM_SHUTDOWN         :  #Reply CM_RequestShutdownAndReset #",
     .powerLine = nullptr,
     .executeLine = "\nEM_SHUTDOWN         : CM_RequestShutdownAndReset: execute shutdown and restart",
     .commandLine = "COSShutdown         : SystemShutdown reboot (%s)\n",
     .command = "/sbin/reboot",
     .forcedCommand = "/sbin/reboot -f"},
    {.name = "halt",
     .operationCode = opcode::CM_RequestShutdownAndHalt,
     .kind = ShutdownKind::Halt,
     .requestLine = "\nEM_SHUTDOWN         :  # Request CM_RequestShutdownAndHalt #",
     .requestStatus = status::kNotSupported, // on purpose: a halt comes as a reply only
     .replyLine = "\nEM_SHUTDOWN         :  #Reply CM_RequestShutdownAndHalt #",
     .powerLine = nullptr,
     .executeLine = "\nEM_SHUTDOWN         : CM_RequestShutdownAndHalt: execute shutdown and system halt",
     .commandLine = "COSShutdown         : SystemShutdown shutdown (%s)\n",
     .command = "/sbin/halt",
     .forcedCommand = "/sbin/halt -f"},
    {.name = "off",
     .operationCode = opcode::CM_RequestShutdownAndOff,
     .kind = ShutdownKind::Off,
     .requestLine = "\nEM_SHUTDOWN         :  #Request CM_RequestShutdownAndOff #",
     .requestStatus = status::kAccepted,
     .replyLine = "\nEM_SHUTDOWN         :  #Reply CM_RequestShutdownAndOff #",
     .powerLine = "\nEM_SHUTDOWN         : CM_RequestShutdownAndOff:",
     .executeLine = "\nEM_SHUTDOWN         :   execute shutdown and off",
     .commandLine = "COSShutdown         : SystemShutdown poweroff (%s)\n",
     .command = "/sbin/poweroff",
     .forcedCommand = "/sbin/poweroff -f"},
}};

// Null for a code that is no action's.
constexpr const ShutdownAction* findShutdownAction(uint32_t operationCode) {
    for (const ShutdownAction& action : kShutdownActions) {
        if (action.operationCode == operationCode) {
            return &action;
        }
    }
    return nullptr;
}

// Every value that is no kind's powers off.
constexpr const ShutdownAction& shutdownActionOf(uint32_t kind) {
    for (const ShutdownAction& action : kShutdownActions) {
        if (static_cast<uint32_t>(action.kind) == kind) {
            return action;
        }
    }
    return kShutdownActions.back();
}
static_assert(shutdownActionOf(0).kind == ShutdownKind::Off);

} // namespace em
