#include "host/sandbox/sandbox_arguments.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

using Arguments = std::vector<std::string>;

// Where the real "/usr/bin" stays reachable, behind the chosen names.
constexpr const char* kRealBin = "/run/bin";
// Where the coverage files of a run are bound.
constexpr const char* kCoverage = "/coverage";
constexpr const char* kCoverageVariable = "GCOV_PREFIX";

constexpr std::array<std::string_view, 4> kVariables = {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS",
                                                        "UBSAN_OPTIONS"};
constexpr std::string_view kVariablePrefix = "GTEST_";

void add(Arguments& arguments, std::initializer_list<const char*> more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
}

void setVariable(Arguments& arguments, std::string_view assignment) {
    const size_t equals = assignment.find('=');
    if (equals == std::string_view::npos || equals == 0) {
        return; // no assignment, nothing that a process could read
    }
    arguments.emplace_back("--setenv");
    arguments.emplace_back(assignment.substr(0, equals));
    arguments.emplace_back(assignment.substr(equals + 1));
}

bool letThrough(std::string_view assignment) {
    const std::string_view name = assignment.substr(0, assignment.find('='));
    if (name.starts_with(kVariablePrefix)) {
        return true;
    }
    for (const std::string_view variable : kVariables) {
        if (name == variable) {
            return true;
        }
    }
    return false;
}

void addEnvironment(Arguments& arguments, const SandboxOptions& options, const char* const* environment) {
    add(arguments, {"--clearenv", "--setenv", "PATH", "/usr/sbin:/usr/bin", "--setenv", "HOME", "/tmp"});
    add(arguments, {"--setenv", layout::kScratchVariable, layout::kScratch});
    for (; *environment != nullptr; ++environment) {
        if (letThrough(*environment)) {
            setVariable(arguments, *environment);
        }
    }
    for (const std::string& assignment : options.environment) {
        setVariable(arguments, assignment);
    }
}

// The commands are links to the service manager and "/sbin" is a link, so nothing is bound over them: whole
// directories are laid anew, and what shall be there is put in.
void addSystem(Arguments& arguments, const SandboxOptions& options, const std::string& recorder,
               const SandboxFiles& files, const std::vector<std::string>& binNames) {
    add(arguments, {"--ro-bind", "/usr", "/usr", "--tmpfs", "/run", "--ro-bind", "/usr/bin", kRealBin});
    add(arguments, {"--tmpfs", "/usr/bin"});
    for (const std::string& name : binNames) {
        arguments.insert(arguments.end(),
                         {"--symlink", std::string(kRealBin) + '/' + name, "/usr/bin/" + name});
    }
    if (options.serviceManager) {
        add(arguments, {"--ro-bind", recorder.c_str(), layout::kServiceManager});
    }
    add(arguments, {"--tmpfs", "/usr/sbin"});
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        add(arguments, {"--ro-bind", recorder.c_str(), layout::realPlaceOf(action.command).c_str()});
    }
    if (options.maintenance != Maintenance::ToolMissing) {
        const std::string tool = std::to_string(files.maintenanceTool);
        const std::string answer = std::to_string(files.maintenanceAnswer);
        add(arguments, {"--perms", "0555", "--ro-bind-data", tool.c_str(), layout::kMaintenanceTool});
        add(arguments, {"--perms", "0444", "--ro-bind-data", answer.c_str(), layout::kMaintenanceDefault});
    }
    const std::string marker = std::to_string(files.marker);
    add(arguments, {"--perms", "0444", "--ro-bind-data", marker.c_str(), layout::kMarker});
    add(arguments, {"--symlink", "usr/bin", "/bin", "--symlink", "usr/sbin", "/sbin"});
    add(arguments, {"--symlink", "usr/lib", "/lib", "--symlink", "usr/lib64", "/lib64"});
    add(arguments, {"--ro-bind", "/etc", "/etc", "--proc", "/proc", "--dev", "/dev"});
    // A root without capabilities still owns the kernel's settings, most of which are the whole machine's.
    add(arguments, {"--ro-bind", layout::kKernelSettings, layout::kKernelSettings});
    add(arguments, {"--tmpfs", "/tmp", "--tmpfs", "/opt"});
}

// At the path as given and, where links are on the way, at the real one too.
void bindReadOnly(Arguments& arguments, const std::string& path) {
    std::error_code failed;
    const std::string given = std::filesystem::absolute(path, failed).lexically_normal();
    const std::string real = std::filesystem::canonical(path, failed);
    const std::string& source = failed ? given : real; // bubblewrap names what is not there
    add(arguments, {"--ro-bind", source.c_str(), given.c_str()});
    if (source != given) {
        add(arguments, {"--ro-bind", source.c_str(), source.c_str()});
    }
}

// After everything that is laid over, since a clone may lie below "/tmp", "/opt" or "/run".
void addCallersFiles(Arguments& arguments, const SandboxOptions& options, const std::string& directory) {
    for (const std::string& path : options.readOnly) {
        bindReadOnly(arguments, path);
    }
    bindReadOnly(arguments, directory);
    if (options.scratch.empty()) {
        add(arguments, {"--tmpfs", layout::kScratch});
    } else {
        add(arguments, {"--bind", options.scratch.c_str(), layout::kScratch});
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): before any thread is started
    if (const char* coverage = std::getenv(kCoverageVariable); coverage != nullptr && *coverage != '\0') {
        add(arguments, {"--bind", coverage, kCoverage, "--setenv", kCoverageVariable, kCoverage});
    }
}

} // namespace

std::vector<std::string> sandboxArguments(const SandboxOptions& options, const std::string& directory,
                                          const std::string& recorder, const SandboxFiles& files,
                                          const std::vector<std::string>& binNames,
                                          const char* const* environment) {
    Arguments arguments;
    arguments.reserve(3 * binNames.size() + 128);
    // Not as process 1: there every signal left at its default action is ignored, and orphans would land on
    // it.
    add(arguments, {"--unshare-all", "--die-with-parent", "--cap-drop", "ALL"});
    const std::string user = std::to_string(options.uid);
    add(arguments, {"--uid", user.c_str(), "--gid", user.c_str()});
    addEnvironment(arguments, options, environment);
    addSystem(arguments, options, recorder, files, binNames);
    addCallersFiles(arguments, options, directory);
    add(arguments, {"--remount-ro", "/run", "--remount-ro", "/usr/bin", "--remount-ro", "/usr/sbin"});
    add(arguments, {"--remount-ro", "/", "--chdir", "/"});
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
