#include "bench/hosted_module.h"

#include "bench/comparison.h"
#include "contract/host_envelope.h"
#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "host/sandbox/sandbox_guard.h"

namespace em::bench {

void refuseOutsideSandbox() {
    // Asked once: nobody leaves the sandbox, and to ask takes longer than to load the module.
    [[maybe_unused]] static const bool inForce = (volad_dev::assertSandboxInForce(), true);
}

void IdleHost::sendMessage(CIExtensionModule* /*module*/, SipJson* envelope, uint32_t timeoutMs) {
    EnvelopeValue* const command = HostEnvelope::commandOf(envelope);
    if (timeoutMs == kNotification || command == nullptr) {
        return;
    }
    setMember(*command, key::Status, EnvelopeValue(status::kAccepted));
    switch (numberOf(*command, key::Extension)) {
    case setting::kPowerOffTime.item:
        setMember(*command, key::Data, EnvelopeValue(kNoPowerOffTime));
        break;
    case setting::kShutdownDelay.item:
    case setting::kForceDelay.item:
        setMember(*command, key::Data, EnvelopeValue(0U));
        break;
    default:
        break;
    }
}

const char* HostedModule::path() {
    return EM_MODULE_PATH;
}

HostedModule::HostedModule() : m_library((refuseOutsideSandbox(), path())) {}

HostedModule::~HostedModule() {
    if (m_module != nullptr) {
        m_module->Stop();
        static_cast<void>(m_library.destroy());
    }
}

void HostedModule::create() {
    m_module = m_library.create(m_host);
    require(m_module != nullptr, "no module object");
}

void HostedModule::start() {
    require(m_module->Start(), "the module did not start");
}

void HostedModule::afterStart() {
    m_module->AfterStart();
}

void HostedModule::requestPowerOff() {
    HostEnvelope request(opcode::CM_RequestShutdownAndOff);
    require(m_module->HandleRequest(request.handle()) &&
                numberOf(*request.command(), key::Status, status::kMissing) == status::kAccepted,
            "the request was not taken");
}

} // namespace em::bench
