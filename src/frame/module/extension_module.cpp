#include "frame/module/extension_module.h"

#include <cstddef>

#include "contract/envelope.h"
#include "contract/host_interface.h"
#include "contract/notifications.h"
#include "frame/envelope/sip_json.h"
#include "frame/module/cabinet_number.h"
#include "frame/module/host_interface.h"
#include "trace/boundary.h"
#include "trace/table_line.h"

namespace em {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored                                                                               \
    "-Winvalid-offsetof" // both compilers lay the class out as the contract needs it
struct ExtensionModuleLayout {
    static_assert(offsetof(CExtensionModule, m_host) == kHostPointerOffset);
    static_assert(offsetof(CExtensionModule, m_reserved) == kReservedOffset);
    static_assert(offsetof(CExtensionModule, m_switchShutdown) == kSwitchShutdownOffset);
    static_assert(sizeof(CExtensionModule) == kModuleHeadSize);
    static_assert(sizeof(std::atomic<void*>) == 8 && sizeof(std::atomic<bool>) == 1);
};
#pragma GCC diagnostic pop

bool CExtensionModule::Start() {
    return atBoundary("Start()", true, [&] {
        RegisterEventLogSource();
        return true;
    });
}

bool CExtensionModule::HandleRequest(SipJson* request) {
    return atBoundary("HandleRequest()", false, [&] {
        if (request != nullptr) {
            request->SetStatus(status::kMalformed);
        }
        return false;
    });
}

unsigned CExtensionModule::SetCabinetNumber(uint32_t number) {
    return atBoundary("SetCabinetNumber()", 1U, [&] {
        setCabinetNumber(number);
        EM_TRACE(2, "\n\n%-20s: ## Server cabinet number = %d ##\n", ModuleName(), asInt(number));
        return 1U;
    });
}

unsigned CExtensionModule::Notify(uint32_t code, uint64_t parameter, uint64_t extra) {
    // Kept, since a thread that waits in the handler may find the object gone.
    const char* const name = ModuleName();
    return atBoundary("Notify()", 0U, [&] {
        EM_TRACE(2, "\n\n%-20s: ## NOTIFY: Code = 0Xx%02X, param = 0x%08X", name, code,
                 asUnsigned(parameter));
        if (code == SCN_SWITCH_SHUTDOWN) {
            // Before the handler is asked: it may throw, and the host goes down all the same.
            m_switchShutdown = true;
        }
        TraceNotification(code);
        EM_TRACE(4, "\n%-20s:   call OnModuleNotification()...", name);
        const unsigned result = OnModuleNotification(code, parameter, extra);
        EM_TRACE(4, "\n%-20s:   ... OnModuleNotification() completed", name);
        return result;
    });
}

void CExtensionModule::TraceNotification(uint32_t code) {
    if (const Notification* const known = findNotification(code)) {
        traceTableLine(1, known->nameLine, ModuleName());
        traceTableLine(2, known->effectLine, ModuleName());
    }
}

// Two lines and nothing else: there is no event log on this system, and readers of traces expect them.
void CExtensionModule::RegisterEventLogSource() {
    const char* const source =
        kindOfHost(m_host) == kAgentlessService ? "Tellmark Agentless Service" : "Tellmark Host Warden";
    EM_TRACE(3, "\n%-20s: Register event log source \"%s\" ...", ModuleName(), source);
    EM_TRACE(3, "\n%-20s: ... event log source \"%s\" registered", ModuleName(), source);
}

void CExtensionModule::SendHostNotice(bool value) {
    noticeToHost(m_host, this, value);
}

// The pointer is read once: the host may take it away while a thread of ours is in here.
void CExtensionModule::SendMessage(SipJson& envelope, uint32_t timeoutMs) {
    void* const host = m_host;
    if (host == nullptr) {
        envelope.SetStatus(status::kNoHost);
        return;
    }
    // A command that names a cabinet is for that one.
    if (!envelope.HasMember(key::Cabinet)) {
        envelope.SetUintMember(key::Cabinet, cabinetNumber());
    }
    sendMessageToHost(host, this, envelope, timeoutMs);
}

void CExtensionModule::SendMessageWithId(SipJson& envelope, uint32_t timeoutMs, uint32_t messageId) {
    envelope.SetUintMember(key::MessageId, messageId);
    SendMessage(envelope, timeoutMs);
}

void CExtensionModule::SendMessageForCabinet(SipJson& envelope, uint32_t timeoutMs, uint32_t cabinet) {
    envelope.SetUintMember(key::Cabinet, cabinet);
    SendMessage(envelope, timeoutMs);
}

} // namespace em
