#include "host/hosting/answers.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "contract/envelope.h"
#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "frame/envelope/sip_json.h"
#include "frame/json/json_tree.h"
#include "host/hosting/settings.h"

namespace volad_dev {
namespace {

using Value = std::variant<std::monostate, uint32_t, std::string>;

Value numberOrNone(const std::optional<uint32_t>& number) {
    return number ? Value(*number) : Value();
}
Value textOrNone(const std::optional<std::string>& text) {
    return text ? Value(*text) : Value();
}

Value powerOffTime(const em::SipJson& envelope, const Settings& settings) {
    const uint32_t day = envelope.GetUint(em::key::ObjectId, 0); // missing is Sunday
    if (day >= settings.powerOffTimes.size()) {
        return {};
    }
    return Value(uint32_t{settings.powerOffTimes[day].value_or(em::kNoPowerOffTime)});
}

Value settingOf(const em::SipJson& envelope, const Settings& settings) {
    switch (envelope.GetUint(em::key::Extension, 0)) {
    case em::setting::kPowerOffTime.item:
        return powerOffTime(envelope, settings);
    case em::setting::kShutdownDelay.item:
        return numberOrNone(settings.shutdownDelay);
    case em::setting::kForceDelay.item:
        return numberOrNone(settings.forceDelay);
    case em::setting::kJobName.item:
        return textOrNone(settings.jobName);
    case em::setting::kJobDirectory.item:
        return textOrNone(settings.jobDirectory);
    case em::setting::kJobTimeout.item:
        return numberOrNone(settings.jobTimeout);
    default:
        return {};
    }
}

void setText(em::SipJson& envelope, const std::string& text) {
    if (em::JsonValue* const command = envelope.CommandAt()) {
        em::json::setMember(*command, em::key::Data, em::json::ownedText(text));
    }
}

} // namespace

void answerRequest(em::SipJson& envelope, const Settings& settings) {
    switch (envelope.GetUint(em::key::OperationCode, 0)) {
    case em::opcode::kHostSettings: {
        const Value value = settingOf(envelope, settings);
        if (const auto* number = std::get_if<uint32_t>(&value)) {
            envelope.SetUintMember(em::key::Data, *number);
        } else if (const auto* text = std::get_if<std::string>(&value)) {
            setText(envelope, *text);
        }
        envelope.SetStatus(std::holds_alternative<std::monostate>(value) ? em::status::kMalformed
                                                                         : em::status::kAccepted);
        return;
    }
    case em::opcode::kSetPowerOffReason:
    case em::opcode::kPowerSwitchNotifications:
    case em::opcode::kMaintenanceModeChanged:
    case em::opcode::CM_ShutdownRequestCancelled:
        envelope.SetStatus(em::status::kAccepted);
        return;
    default:
        envelope.SetStatus(em::status::kMalformed);
    }
}

} // namespace volad_dev
