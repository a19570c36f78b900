// Notifications of the host and the lines that announce them, one row each.
#pragma once

#include <array>
#include <cstdint>

namespace em {

constexpr uint32_t SCN_SWITCH_SHUTDOWN = 0x20000;
constexpr uint32_t SCN_SWITCH_REQUEST_ENABLED = 0x20001;
constexpr uint32_t SCN_SYSTEM_SHUTDOWN = 0x30000;
constexpr uint32_t SCN_POWERSTATE_SUSPEND = 0x40000;
constexpr uint32_t SCN_POWERSTATE_STANDBY = 0x40001;
constexpr uint32_t SCN_POWERSTATE_RESUME = 0x40002;
constexpr uint32_t SCN_POWERSTATE_AC_OFFLINE = 0x40003;
constexpr uint32_t SCN_POWERSTATE_AC_ONLINE = 0x40004;

// The formats take the module's name. The name's line is level 1, the effect's level 2, null where there is
// none.
struct NotificationRow {
    uint32_t code;
    const char* nameLine;
    const char* effectLine;
};

constexpr std::array<NotificationRow, 8> kNotifications{{
    {SCN_SWITCH_SHUTDOWN, "\n%-20s: *** SCN_SWITCH_SHUTDOWN *** \n",
     "\n%-20s: -> SWITCH shutdown notification, set SwitchShutdown flag"},
    {SCN_SWITCH_REQUEST_ENABLED, "\n%-20s: *** SCN_SWITCH_REQUEST_ENABLED *** \n",
     "\n%-20s: -> SWITCH start completed (all layers started) - requests enabled"},
    {SCN_SYSTEM_SHUTDOWN, "\n%-20s: *** SCN_SYSTEM_SHUTDOWN *** \n", "\n%-20s: -> System shutdown"},
    {SCN_POWERSTATE_SUSPEND, "\n%-20s: *** SCN_POWERSTATE_SUSPEND *** \n", nullptr},
    {SCN_POWERSTATE_STANDBY, "\n%-20s: *** SCN_POWERSTATE_STANDBY *** \n", nullptr},
    {SCN_POWERSTATE_RESUME, "\n%-20s: *** SCN_POWERSTATE_RESUME *** \n", nullptr},
    {SCN_POWERSTATE_AC_OFFLINE, "\n%-20s: *** SCN_POWERSTATE_AC_OFFLINE *** \n", nullptr},
    {SCN_POWERSTATE_AC_ONLINE, "\n%-20s: *** SCN_POWERSTATE_AC_ONLINE *** \n", nullptr},
}};

} // namespace em
