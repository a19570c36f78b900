// What the shutdown module says to the host and asks of it, each message once.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "contract/settings.h"
#include "contract/shutdown_status.h"

namespace em {

class CExtensionModule;
struct SipJson;

// Any thread, several at a time; never called under a lock. May throw for want of memory only: what a host
// throws counts as no answer.
class HostMessages {
public:
    explicit HostMessages(CExtensionModule& module) : m_module(module) {}

    // Answered in place, for which the host has kRequestTimeoutMs; an unanswered one stays as it was.
    void request(SipJson& envelope);
    void notify(SipJson& envelope);

    // A setting, asked for each time it is needed, with an envelope of its own: an old answer must not show
    // through when the host stays silent. Nothing when the answer's status is no success, when it holds
    // no data, or data that is no number. The object id is a power-off time's week day.
    [[nodiscard]] std::optional<uint32_t> askNumber(const Setting& setting, uint32_t objectId = 0);
    // Empty where there is no answer; a text ends at its first NUL.
    [[nodiscard]] std::string askText(const Setting& setting);

    // The line of a changed status, then the notification.
    void statusChanged(ShutdownStatus status);
    void shutdownCancelled(bool notifyToo);
    void maintenanceModeChanged();
    void setPowerOffReason(uint32_t reason);
    void powerOnStatus(uint8_t reason);
    // The system goes down without a request of ours.
    void shutdownByUser(uint32_t reason);
    void disconnected();

    // Asks for power-switch events, or for no more of them, unless the module's property says never to.
    void switchPowerSwitchEvents(bool enable);

private:
    CExtensionModule& m_module;
};

} // namespace em
