// The module that ships, loaded as a host loads it, for benchmarks: its trace is off, and each setting is
// answered with the least that can be, no delay, no job, no power-off time. Only inside the sandbox: it
// starts the commands that end a system.
#pragma once

#include "contract/host_interface.h"
#include "contract/module_interface.h"
#include "host/hosting/module_library.h"

namespace em::bench {

// The program that loads it calls this before anything else: outside of the sandbox it ends there.
void refuseOutsideSandbox();

class IdleHost final : public HostObject {
public:
    void sendMessage(CIExtensionModule* module, SipJson* envelope, uint32_t timeoutMs) override;
    void notice(CIExtensionModule* /*module*/, bool /*value*/) override {}
    int kind() override { return 1; }
};

// A host's steps, each taken once and in this order; the destructor goes all of them back.
class HostedModule {
public:
    HostedModule(); // loads it
    HostedModule(const HostedModule&) = delete;
    HostedModule& operator=(const HostedModule&) = delete;
    ~HostedModule();

    void create();
    void start();
    void afterStart();
    void requestPowerOff();

    static const char* path();

private:
    IdleHost m_host;
    volad_dev::ModuleLibrary m_library;
    CIExtensionModule* m_module = nullptr;
};

} // namespace em::bench
