// The names and numbers of the contract, as a script writes them and as they are shown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "contract/shutdown_actions.h"

namespace volad_dev {

// Decimal, or hexadecimal behind "0x"; nothing but a number of 32 bits.
[[nodiscard]] std::optional<uint32_t> plainCode(const std::string& text);

// An operation code: by its name, that of the shutdown action ("off"), or a number.
[[nodiscard]] std::optional<uint32_t> operationCodeOf(const std::string& text);
// "517 CM_RequestShutdownAndOff".
[[nodiscard]] std::string operationText(uint32_t code);
[[nodiscard]] std::optional<uint32_t> notificationOf(const std::string& text);

// A shutdown status: by number or name ("delay running" or "delay-running").
[[nodiscard]] std::optional<uint32_t> statusOf(std::string text);
// "2 (delay running)".
[[nodiscard]] std::string statusText(uint32_t status);

// The action whose command this is: "poweroff" or "/sbin/poweroff". Null for none.
[[nodiscard]] const em::ShutdownAction* actionOfCommand(const std::string& text);
// "/sbin/poweroff" without its directory.
[[nodiscard]] std::string commandName(const em::ShutdownAction& action);
// Of all actions, one behind the other.
[[nodiscard]] std::string commandNames();

} // namespace volad_dev
