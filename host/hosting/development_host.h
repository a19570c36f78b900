// The host object of a rehearsal: takes down what the module says and answers what it asks from the settings.
#pragma once

#include <functional>
#include <utility>

#include "contract/host_interface.h"
#include "host/common/mutex.h"
#include "host/hosting/job_watch.h"
#include "host/hosting/journal.h"
#include "host/hosting/settings.h"

namespace volad_dev {

class DevelopmentHost final : public em::HostObject {
public:
    // told: hears each message of both directions, on the thread that sends it, and may be empty.
    explicit DevelopmentHost(const Settings& settings, std::function<void(const Message&)> told = {})
        : m_told(std::move(told)), m_settings(settings) {}

    // From the next question on. Any thread.
    void setSettings(const Settings& settings);

    void sendMessage(em::CIExtensionModule* module, em::SipJson* envelope, uint32_t timeoutMs) override;
    void notice(em::CIExtensionModule* /*module*/, bool /*value*/) override {}
    int kind() override { return settings().hostKind; }

    [[nodiscard]] Journal& journal() { return m_journal; }
    [[nodiscard]] JobWatch& jobWatch() { return m_jobWatch; }

private:
    void note(const Message& message);
    void watchForJob(const Message& message, const Settings& settings);
    [[nodiscard]] Settings settings() const;

    const std::function<void(const Message&)> m_told;
    mutable Mutex m_mutex;
    Settings m_settings EM_GUARDED_BY(m_mutex);
    Journal m_journal;
    JobWatch m_jobWatch;
};

} // namespace volad_dev
