#include "host/drive/code_names.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "contract/notifications.h"
#include "contract/operation_codes.h"
#include "contract/shutdown_status.h"

namespace volad_dev {

std::optional<uint32_t> plainCode(const std::string& text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* const begin = text.data() + (hexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    uint32_t number = 0;
    const auto [rest, failed] = std::from_chars(begin, end, number, hexadecimal ? 16 : 10);
    return failed == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

std::optional<uint32_t> operationCodeOf(const std::string& text) {
    for (const em::Operation& each : em::kOperations) {
        if (text == each.name) {
            return each.code;
        }
    }
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        if (text == action.name) {
            return action.operationCode;
        }
    }
    return plainCode(text);
}

std::string operationText(uint32_t code) {
    const em::Operation* const operation = em::findOperation(code);
    return operation == nullptr ? std::to_string(code) : fmt::format("{} {}", code, operation->name);
}

std::optional<uint32_t> notificationOf(const std::string& text) {
    for (const em::Notification& each : em::kNotifications) {
        if (text == each.name) {
            return each.code;
        }
    }
    return plainCode(text);
}

std::optional<uint32_t> statusOf(std::string text) {
    if (const std::optional<uint32_t> number = plainCode(text)) {
        return number;
    }
    std::ranges::replace(text, '-', ' ');
    const auto found = std::ranges::find(em::kShutdownStatusNames, std::string_view(text));
    return found == em::kShutdownStatusNames.end()
               ? std::nullopt
               : std::optional(static_cast<uint32_t>(found - em::kShutdownStatusNames.begin()));
}

std::string statusText(uint32_t status) {
    return status < em::kShutdownStatusNames.size()
               ? fmt::format("{} ({})", status, em::kShutdownStatusNames[status])
               : std::to_string(status);
}

std::string commandName(const em::ShutdownAction& action) {
    const std::string_view command = action.command;
    return std::string(command.substr(command.rfind('/') + 1));
}

std::string commandNames() {
    std::vector<std::string> names;
    names.reserve(em::kShutdownActions.size());
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        names.push_back(commandName(action));
    }
    return fmt::format("{}", fmt::join(names, ", "));
}

const em::ShutdownAction* actionOfCommand(const std::string& text) {
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        if (text == action.command || text == commandName(action)) {
            return &action;
        }
    }
    return nullptr;
}

} // namespace volad_dev
