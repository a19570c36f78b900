// Fixed places of the host's installation and of the machine, and the names under which a module finds its
// own things there.
#pragma once

namespace em::place {

// Directories and files; none ends in "/".
inline constexpr char kTraceConfigDirectory[] = "/opt/Orlendix/vital/etc/velcor/TellmarkSuite/TraceConfig";
inline constexpr char kRegistryDirectory[] = "/opt/Orlendix/vital/etc/ombrad";
// Where a job runs that lies in the root directory.
inline constexpr char kJobFallbackDirectory[] = "/opt/Orlendix/vital/etc/ombrad";
// Taken up by the agents' own action script: one command line, as the agents' restart leaves it.
inline constexpr char kRestartJobFile[] = "/opt/Orlendix/vital/etc/ombrad/ombradAction.file";
// A machine that has it is run by a service manager.
inline constexpr char kServiceManager[] = "/usr/bin/systemctl";
inline constexpr char kShell[] = "/bin/sh";

// The hypervisor's tool, found by the PATH of the host's process; maintenance mode is on when its output
// begins with this character.
inline constexpr char kMaintenanceQuery[] = "localcli system maintenanceMode get";
inline constexpr char kMaintenanceOn = 'E';

// Commands that restart the management agents; those of the agentless service differ with and without a
// service manager.
inline constexpr char kRestartAgents[] = "/usr/sbin/ombrad restart";
inline constexpr char kRestartAgentlessManaged[] =
    "/opt/Orlendix/vital/etc/ombrad/StartupScripts/brix restart";
inline constexpr char kRestartAgentless[] = "/etc/init.d/brix restart";

// Environment of the host's process: they win over the trace's files at load.
inline constexpr char kTraceLevelVariable[] = "TM_LOG_DEBUG_LEVEL";
inline constexpr char kTraceUpdateVariable[] = "TM_LOG_DYNAMIC_UPDATE";

// The registry store. The product key lies under HKEY_LOCAL_MACHINE unless the locator names another one; a
// module's properties are values of its sub-key with the module's name.
inline constexpr char kLocatorKey[] =
    "SYSTEM\\CurrentControlSet\\Control\\UUID\\7E2D4A91-5B3C-41F8-9A6E-2C8B17D04F63";
inline constexpr char kLocatorValue[] = "Host Warden";
inline constexpr char kDefaultProductKey[] = "SOFTWARE\\Aldmere\\Management\\Host Warden";
// Sub-keys of the product key and their values: the installation's roots, and what its modules keep where.
inline constexpr char kSetupKey[] = "Setup";
inline constexpr char kBinRoot[] = "BinRoot";
inline constexpr char kFileRoot[] = "FileRoot";
inline constexpr char kDataKey[] = "DATA";
inline constexpr char kDataRoot[] = "DataRoot";
// A DWORD: 0 = the host is never asked for power-switch events. Missing counts as on.
inline constexpr char kPowerSwitchProperty[] = "PowerSwitchEvent (ON/OFF)";

// Message files, searched in the working directory and in the installation's directory of binaries.
inline constexpr char kEventMessages[] = "EVENTMSG.XML";
inline constexpr char kErrorMessages[] = "ERRMSG.XML";

} // namespace em::place
