// The host object of a rehearsal: takes down what the module says and answers what it asks from the settings.
#pragma once

#include "contract/host_interface.h"
#include "host/hosting/job_watch.h"
#include "host/hosting/journal.h"
#include "host/hosting/settings.h"

namespace volad_dev {

class DevelopmentHost final : public em::HostObject {
public:
    explicit DevelopmentHost(const Settings& settings) : m_settings(settings) {}

    void sendMessage(em::CIExtensionModule* module, em::SipJson* envelope, uint32_t timeoutMs) override;
    void notice(em::CIExtensionModule* /*module*/, bool /*value*/) override {}
    int kind() override { return m_settings.hostKind; }

    [[nodiscard]] Journal& journal() { return m_journal; }
    [[nodiscard]] JobWatch& jobWatch() { return m_jobWatch; }

private:
    void watchForJob(const Message& message);

    const Settings m_settings;
    Journal m_journal;
    JobWatch m_jobWatch;
};

} // namespace volad_dev
