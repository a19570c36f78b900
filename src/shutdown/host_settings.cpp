#include "shutdown/host_settings.h"

#include "frame/envelope/sip_json.h"
#include "frame/module/cabinet_number.h"
#include "frame/module/extension_module.h"
#include "frame/module/host_interface.h"
#include "shutdown/operation_codes.h"

namespace em {
namespace {

SipJson AskHost(CExtensionModule& module, uint32_t item) {
    SipJson envelope;
    envelope.InitEnvelope();
    envelope.SetCommand(opcode::kHostSettings, item, 0, cabinetNumber(), status::kKeep);
    module.SendMessage(envelope, kRequestTimeoutMs);
    return envelope;
}

} // namespace

std::optional<uint32_t> ReadNumberSetting(CExtensionModule& module, uint32_t item) {
    const SipJson answer = AskHost(module, item);
    uint32_t value = 0;
    if (answer.HasValidData() && answer.GetAnswerUint(value)) {
        return value;
    }
    return std::nullopt;
}

std::string ReadTextSetting(CExtensionModule& module, uint32_t item) {
    const SipJson answer = AskHost(module, item);
    std::string text;
    if (answer.HasValidData()) {
        static_cast<void>(answer.GetAnswerText(text)); // no text: empty
    }
    return text;
}

} // namespace em
