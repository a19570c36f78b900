// Notifications of the host (slot 13 of the module), with the lines that announce them, one row each. Any
// other code is handed to the module, too, which then does nothing. SCN_SWITCH_SHUTDOWN also sets the flag of
// module_interface.h.
#pragma once

#include <array>
#include <cstdint>

namespace em {

inline constexpr uint32_t SCN_SWITCH_SHUTDOWN = 0x20000;
inline constexpr uint32_t SCN_SWITCH_REQUEST_ENABLED = 0x20001;
inline constexpr uint32_t SCN_SYSTEM_SHUTDOWN = 0x30000;
inline constexpr uint32_t SCN_POWERSTATE_SUSPEND = 0x40000;
inline constexpr uint32_t SCN_POWERSTATE_STANDBY = 0x40001;
inline constexpr uint32_t SCN_POWERSTATE_RESUME = 0x40002;
inline constexpr uint32_t SCN_POWERSTATE_AC_OFFLINE = 0x40003;
inline constexpr uint32_t SCN_POWERSTATE_AC_ONLINE = 0x40004;

// What the shutdown module does on one, besides announcing it.
enum class NotificationEffect {
    None,
    PowerSwitchOff, // asks the host for no more power-switch events
    PowerSwitchOn,
    Disconnect, // the system goes down: the disconnect procedure, waited for up to 5 s
};

struct Notification {
    uint32_t code;
    const char* name;
    NotificationEffect effect;
    // Formats with the module's name as their only argument: level 1, and level 2 or null.
    const char* nameLine;
    const char* effectLine;
};

inline constexpr std::array<Notification, 8> kNotifications{{
    {SCN_SWITCH_SHUTDOWN, "SCN_SWITCH_SHUTDOWN", NotificationEffect::PowerSwitchOff,
     "\n%-20s: *** SCN_SWITCH_SHUTDOWN *** \n",
     "\n%-20s: -> SWITCH shutdown notification, set SwitchShutdown flag"},
    {SCN_SWITCH_REQUEST_ENABLED, "SCN_SWITCH_REQUEST_ENABLED", NotificationEffect::None,
     "\n%-20s: *** SCN_SWITCH_REQUEST_ENABLED *** \n",
     "\n%-20s: -> SWITCH start completed (all layers started) - requests enabled"},
    {SCN_SYSTEM_SHUTDOWN, "SCN_SYSTEM_SHUTDOWN", NotificationEffect::Disconnect,
     "\n%-20s: *** SCN_SYSTEM_SHUTDOWN *** \n", "\n%-20s: -> System shutdown"},
    {SCN_POWERSTATE_SUSPEND, "SCN_POWERSTATE_SUSPEND", NotificationEffect::PowerSwitchOff,
     "\n%-20s: *** SCN_POWERSTATE_SUSPEND *** \n", nullptr},
    {SCN_POWERSTATE_STANDBY, "SCN_POWERSTATE_STANDBY", NotificationEffect::PowerSwitchOff,
     "\n%-20s: *** SCN_POWERSTATE_STANDBY *** \n", nullptr},
    {SCN_POWERSTATE_RESUME, "SCN_POWERSTATE_RESUME", NotificationEffect::PowerSwitchOn,
     "\n%-20s: *** SCN_POWERSTATE_RESUME *** \n", nullptr},
    {SCN_POWERSTATE_AC_OFFLINE, "SCN_POWERSTATE_AC_OFFLINE", NotificationEffect::None,
     "\n%-20s: *** SCN_POWERSTATE_AC_OFFLINE *** \n", nullptr},
    {SCN_POWERSTATE_AC_ONLINE, "SCN_POWERSTATE_AC_ONLINE", NotificationEffect::None,
     "\n%-20s: *** SCN_POWERSTATE_AC_ONLINE *** \n", nullptr},
}};

// Null for a code that is none of these.
constexpr const Notification* findNotification(uint32_t code) {
    for (const Notification& notification : kNotifications) {
        if (notification.code == code) {
            return &notification;
        }
    }
    return nullptr;
}

} // namespace em
