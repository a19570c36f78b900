#include "frame/module/host_interface.h"

#include "base/virtual_slot.h"
#include "contract/host_interface.h"
#include "frame/envelope/sip_json.h"
#include "trace/boundary.h"

namespace em {
// Caught here and not by the caller: a host that throws is one that did not answer, and its caller goes on.
void sendMessageToHost(void* host, CIExtensionModule* module, SipJson& envelope, uint32_t timeoutMs) {
    if (host != nullptr) {
        atBoundary("the host's send message",
                   [&] { callSlot<void>(host, host_slot::kSendMessage, module, &envelope, timeoutMs); });
    }
}

void noticeToHost(void* host, CIExtensionModule* module, bool value) {
    if (host != nullptr) {
        atBoundary("the host's notice", [&] { callSlot<void>(host, host_slot::kNotice, module, value); });
    }
}

int kindOfHost(void* host) {
    int kind = 0;
    if (host != nullptr) {
        atBoundary("the host's kind", [&] { kind = callSlot<int>(host, host_slot::kKind); });
    }
    return kind;
}

} // namespace em
