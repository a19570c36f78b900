// The base of every extension module: the slots' defaults and the services that modules share.
#pragma once

#include <atomic>

#include "contract/module_interface.h"

namespace em {

class CExtensionModule : public CIExtensionModule {
public:
    CExtensionModule() = default;
    ~CExtensionModule() override = default;
    CExtensionModule(const CExtensionModule&) = delete;
    CExtensionModule& operator=(const CExtensionModule&) = delete;

    const char* ModuleDescription() override { return nullptr; }
    unsigned Reserved3() override { return 1; }
    bool Start() override;
    unsigned Stop() override { return 1; }
    void AfterStart() override {}
    void ApplicationReply(SipJson* /*reply*/) override {}
    // Refuses: status 1, false.
    bool HandleRequest(SipJson* request) override;
    unsigned Reserved9() override { return 0; }
    unsigned SetCabinetNumber(uint32_t number) override;
    unsigned Reserved11() override { return 0; }
    unsigned Reserved12() override { return 0; }
    // Announces the notification and hands it to OnModuleNotification, whose result it returns.
    unsigned Notify(uint32_t code, uint64_t parameter, uint64_t extra) override;
    const char* ModuleName() override { return "EM_XXX"; }
    void Reserved15() override {}
    void Reserved16() override {}
    void Reserved17() override {}
    void Reserved18() override {}
    unsigned Reserved19() override { return 0; }
    unsigned Reserved20() override { return 0; }
    unsigned Reserved21() override { return 0; }
    unsigned Reserved22() override { return 0; }
    unsigned OnModuleNotification(uint32_t /*code*/, uint64_t /*parameter*/, uint64_t /*extra*/) override {
        return 0;
    }

    // Sends the envelope to the host, with the cabinet number filled in where the command has none. Without a
    // host the command's status becomes 6. The time is kRequestTimeoutMs or kNotification.
    void SendMessage(SipJson& envelope, uint32_t timeoutMs);
    void SendMessageWithId(SipJson& envelope, uint32_t timeoutMs, uint32_t messageId);
    void SendMessageForCabinet(SipJson& envelope, uint32_t timeoutMs, uint32_t cabinet);

protected:
    void RegisterEventLogSource();
    void SendHostNotice(bool value);
    [[nodiscard]] bool SwitchShutdown() const { return m_switchShutdown; }

private:
    friend struct ExtensionModuleLayout;

    void TraceNotification(uint32_t code);

    // Written by the host, at its place, once EM_Create has returned.
    std::atomic<void*> m_host{nullptr};
    [[maybe_unused]] uint32_t m_reserved = 0; // its place is part of the layout
    std::atomic<bool> m_switchShutdown{false};
};

} // namespace em
