#include "shutdown/host_messages.h"

#include <array>

#include "contract/envelope.h"
#include "contract/host_interface.h"
#include "contract/operation_codes.h"
#include "contract/places.h"
#include "contract/trace_lines.h"
#include "frame/configuration/module_properties.h"
#include "frame/envelope/sip_json.h"
#include "frame/module/cabinet_number.h"
#include "frame/module/extension_module.h"
#include "trace/trace.h"

namespace em {
namespace {

// A message with that code and nothing else; the cabinet number is filled in where it is sent.
SipJson messageOf(uint32_t operationCode) {
    SipJson message;
    message.InitEnvelope();
    message.SetOpcode(operationCode, 0, 0);
    return message;
}

SipJson messageOf(uint32_t operationCode, uint32_t data) {
    SipJson message = messageOf(operationCode);
    message.SetUintMember(key::Data, data);
    return message;
}

SipJson question(const Setting& setting, uint32_t objectId) {
    SipJson envelope;
    envelope.InitEnvelope();
    envelope.SetCommand(opcode::kHostSettings, setting.item, objectId, cabinetNumber(), status::kKeep);
    return envelope;
}

} // namespace

void HostMessages::request(SipJson& envelope) {
    m_module.SendMessage(envelope, kRequestTimeoutMs);
}

void HostMessages::notify(SipJson& envelope) {
    m_module.SendMessage(envelope, kNotification);
}

std::optional<uint32_t> HostMessages::askNumber(const Setting& setting, uint32_t objectId) {
    SipJson answer = question(setting, objectId);
    request(answer);
    uint32_t value = 0;
    // Status first: an answer that refuses may hold data all the same.
    if (answer.HasValidData() && answer.GetAnswerUint(value)) {
        return value;
    }
    return std::nullopt;
}

std::string HostMessages::askText(const Setting& setting) {
    SipJson answer = question(setting, 0);
    request(answer);
    std::string text;
    if (answer.HasValidData()) {
        static_cast<void>(answer.GetAnswerText(text)); // no text: empty
    }
    return text;
}

void HostMessages::statusChanged(ShutdownStatus status) {
    const auto value = static_cast<uint32_t>(status);
    EM_TRACE(3, line::kStatusChanged, asInt(value));
    SipJson message = messageOf(opcode::kShutdownStatusChanged, value);
    notify(message);
}

void HostMessages::shutdownCancelled(bool notifyToo) {
    SipJson message = messageOf(opcode::CM_ShutdownRequestCancelled);
    request(message);
    if (notifyToo) {
        notify(message); // as the answer left it
    }
}

void HostMessages::maintenanceModeChanged() {
    SipJson message = messageOf(opcode::kMaintenanceModeChanged);
    request(message);
}

void HostMessages::setPowerOffReason(uint32_t reason) {
    SipJson message = messageOf(opcode::kSetPowerOffReason, reason);
    request(message);
}

void HostMessages::powerOnStatus(uint8_t reason) {
    SipJson message = messageOf(opcode::kPowerOnStatusEvent);
    message.SetStatus(status::kAccepted);
    const std::array<uint8_t, 2> data{0, reason};
    message.SetRawData(data.data(), data.size());
    notify(message);
}

void HostMessages::shutdownByUser(uint32_t reason) {
    SipJson message = messageOf(opcode::CM_RequestShutdownAndOff, reason);
    notify(message);
}

void HostMessages::disconnected() {
    SipJson message;
    message.InitEnvelope();
    message.SetCommand(opcode::kShutdownStatusQuery, 0, 0, cabinetNumber(), status::kKeep);
    notify(message);
}

void HostMessages::switchPowerSwitchEvents(bool enable) {
    // Looked up each time: the property may be changed while the host runs. On where it is not there.
    uint32_t wanted = 1;
    static_cast<void>(GetModuleProperty(m_module.ModuleName(), wanted, place::kPowerSwitchProperty));
    if (wanted == 0) {
        return;
    }
    EM_TRACE(1, "\nEM_SHUTDOWN         : %s Power switch notifications!", enable ? "Enable" : "Disable");
    SipJson message;
    message.InitEnvelope();
    message.SetCommand(opcode::kPowerSwitchNotifications, 0, 0, cabinetNumber(), status::kMissing);
    message.SetUintMember(key::Data, enable ? 1 : 0);
    request(message);
    EM_TRACE(1, "\nEM_SHUTDOWN         : Power switch notifications %s!", enable ? "enabled" : "disabled");
}

} // namespace em
