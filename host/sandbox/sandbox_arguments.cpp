#include "host/sandbox/sandbox_arguments.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "host/sandbox/sandbox_environment.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

using Arguments = std::vector<std::string>;

constexpr const char* kBin = "/usr/bin";
constexpr const char* kSbin = "/usr/sbin";
// Where the real "/usr/bin" stays reachable, behind the chosen names.
constexpr const char* kRealBin = "/run/bin";

fs::path nameOfTool() {
    return fs::path(layout::kMaintenanceTool).filename();
}

void add(Arguments& arguments, std::initializer_list<const char*> more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
}

void add(Arguments& arguments, const Arguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
}

// A program of the machine that shall not be found, by whatever names it has inside.
void coverProgram(Arguments& arguments, const VisiblePaths& paths, const std::string& program) {
    std::error_code failed;
    const std::string real = fs::canonical(program, failed);
    if (failed || isWithin(real, kSbin)) {
        return;
    }
    for (const std::string& place : paths.showing(real)) {
        coverEntry(
            arguments,
            {isWithin(place, kBin) ? kRealBin + place.substr(std::string(kBin).size()) : place, false});
    }
}

bool findsSbin(const SandboxOptions& options) {
    return std::ranges::any_of(searchPath(options), [](const std::string& directory) {
        return directory == kSbin || directory == "/sbin";
    });
}

void addMaintenanceTool(Arguments& arguments, const SandboxFiles& files) {
    const std::string tool = std::to_string(files.maintenanceTool);
    const std::string answer = std::to_string(files.maintenanceAnswer);
    add(arguments, {"--perms", "0555", "--ro-bind-data", tool.c_str(), layout::kMaintenanceTool});
    add(arguments, {"--perms", "0444", "--ro-bind-data", answer.c_str(), layout::kMaintenanceDefault});
}

// Bubblewrap's own "/dev" has a devpts, for which it puts one more user namespace in front of another user
// than 0: reboot(2) asks the one that owns the process namespace, and would be refused.
void addDevices(Arguments& arguments, SandboxMode mode) {
    if (mode == SandboxMode::Recording) {
        return add(arguments, {"--dev", "/dev"});
    }
    add(arguments, {"--tmpfs", "/dev"});
    for (const char* device : kDevices) {
        add(arguments, {"--dev-bind", device, device});
    }
}

// The commands are links to the service manager and "/sbin" is a link, so nothing is bound over them: whole
// directories are laid anew, and what shall be there is put in.
void addSystem(Arguments& arguments, const SandboxOptions& options, const VisiblePaths& paths,
               const std::string& standIn, const SandboxFiles& files) {
    add(arguments, {"--ro-bind", "/usr", "/usr", "--tmpfs", "/run"});
    add(arguments, {"--ro-bind", kBin, kRealBin, "--ro-bind", kPlaceOfBin, kBin});
    for (const char* each : {"lib", "libexec", "share"}) { // where a program looks beside its own directory
        add(arguments,
            {"--symlink", (std::string("/usr/") + each).c_str(), (std::string("/run/") + each).c_str()});
    }
    for (const fs::path& hidden : {fs::path(layout::kServiceManager), kBin / nameOfTool()}) {
        coverProgram(arguments, paths, hidden);
    }
    if (options.serviceManager) {
        add(arguments, {"--ro-bind", standIn.c_str(), layout::kServiceManager});
    }
    add(arguments, {"--tmpfs", kSbin});
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        add(arguments, {"--ro-bind", standIn.c_str(), layout::realPlaceOf(action.command).c_str()});
    }
    if (options.maintenance != Maintenance::ToolMissing) {
        addMaintenanceTool(arguments, files);
    }
    const std::string marker = std::to_string(files.marker);
    add(arguments, {"--perms", "0444", "--ro-bind-data", marker.c_str(), layout::kMarker});
    add(arguments, {"--symlink", "usr/bin", "/bin", "--symlink", "usr/sbin", "/sbin"});
    add(arguments, {"--symlink", "usr/lib", "/lib", "--symlink", "usr/lib64", "/lib64"});
    add(arguments, {"--ro-bind", "/etc", "/etc"});
    add(arguments, paths.argumentsForEtc());
    add(arguments, {"--proc", "/proc", "--ro-bind", "/proc/sys", "/proc/sys"});
    addDevices(arguments, options.mode);
    for (const char* place : {"/dev/shm", "/tmp", "/opt"}) {
        add(arguments, {"--bind", placeOfMemory(place).c_str(), place});
    }
}

} // namespace

// Of a PATH that names only this directory, the stand-in of the maintenance tool is found here.
std::vector<BinEntry> binEntries(const SandboxOptions& options) {
    const fs::path manager = fs::path(layout::kServiceManager).filename();
    std::vector<BinEntry> entries;
    for (const fs::directory_entry& entry : fs::directory_iterator(kBin)) {
        const fs::path name = entry.path().filename();
        if (name != manager && name != nameOfTool()) {
            entries.push_back({name, kRealBin / name});
        }
    }
    if (options.serviceManager) {
        entries.push_back({manager, ""});
    }
    if (options.maintenance != Maintenance::ToolMissing && !findsSbin(options)) {
        entries.push_back({nameOfTool(), layout::kMaintenanceTool});
    }
    return entries;
}

std::vector<std::string> sandboxArguments(const SandboxOptions& options, const VisiblePaths& paths,
                                          const std::string& standIn, const SandboxFiles& files,
                                          const char* const* environment) {
    Arguments arguments;
    // Not as process 1: there every signal left at its default action is ignored, and orphans would land on
    // it. Without user namespaces of its own: in one of them a job could mount what it likes. Bubblewrap's
    // way to that is one more namespace, as with "/dev"; where it is not taken, the launcher's child has
    // another.
    add(arguments, {"--unshare-all", "--unshare-user", "--die-with-parent", "--cap-drop", "ALL"});
    if (options.mode == SandboxMode::Ending) {
        add(arguments, {"--cap-add", "CAP_SYS_BOOT"});
    } else {
        add(arguments, {"--disable-userns"});
    }
    add(arguments, {"--seccomp", std::to_string(files.filter).c_str()});
    const std::string user = std::to_string(options.uid);
    add(arguments, {"--uid", user.c_str(), "--gid", user.c_str()});
    add(arguments, environmentArguments(options, environment));
    addSystem(arguments, options, paths, standIn, files);
    // After everything that is laid over, since a clone may lie below "/tmp" or "/opt".
    add(arguments, paths.arguments());
    for (const std::string& directory : searchPath(options)) {
        coverProgram(arguments, paths, directory / nameOfTool());
    }
    for (const char* place : {"/run", kSbin, "/proc", "/dev", "/"}) {
        add(arguments, {"--remount-ro", place});
    }
    add(arguments, {"--chdir", "/"});
    return arguments;
}

std::string maintenanceToolScript() {
    const std::string script = layout::kMaintenanceScript;
    const std::string answer = layout::kMaintenanceAnswer;
    return "#!/bin/sh\n"
           "[ -x " +
           script + " ] && exec " + script +
           " \"$@\"\n"
           "[ \"$*\" = 'system maintenanceMode get' ] || exit 2\n"
           "answer=" +
           answer +
           "\n"
           "[ -e \"$answer\" ] || answer=" +
           layout::kMaintenanceDefault +
           "\n"
           "IFS= read -r line < \"$answer\" && printf '%s\\n' \"$line\"\n";
}

std::string maintenanceAnswer(Maintenance maintenance) {
    return maintenance == Maintenance::On ? "Enabled\n" : "Disabled\n";
}

} // namespace volad_dev
