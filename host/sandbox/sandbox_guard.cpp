#include "host/sandbox/sandbox_guard.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

#include <fmt/format.h>

#include "host/common/exit_code.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 6> kServiceSockets = {"/run/systemd/private",
                                                        "/run/systemd/notify",
                                                        "/run/dbus/system_bus_socket",
                                                        "/run/initctl",
                                                        "/var/run/dbus/system_bus_socket",
                                                        "/dev/initctl"};

struct Marker {
    std::string pidNamespace, mountNamespace, recorder; // recorder: "device:inode"
};

Marker readMarker(const std::string& root) {
    Marker marker;
    std::ifstream file(root + layout::kMarker);
    std::getline(file, marker.pidNamespace);
    std::getline(file, marker.mountNamespace);
    std::getline(file, marker.recorder);
    return marker;
}

std::string namespaceFault(const std::string& root, const char* kind, const std::string& outer) {
    std::error_code failed;
    const std::string present = fs::read_symlink(root + "/proc/self/ns/" + kind, failed);
    if (failed || present.empty() || outer.empty()) {
        return fmt::format("the {} namespace cannot be told", kind);
    }
    return present == outer ? fmt::format("the {} namespace is the machine's own", kind) : "";
}

bool holdsSignature(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str().find(layout::kRecorderSignature) != std::string::npos;
}

std::string commandFault(const std::string& path, const std::string& recorder) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || fmt::format("{}:{}", status.st_dev, status.st_ino) != recorder ||
        !holdsSignature(path)) {
        return path + " is not the recorder";
    }
    return "";
}

// Only an all-zero set passes; a status that cannot be read does not.
std::string capabilityFault(const std::string& root) {
    std::ifstream file(root + "/proc/self/status");
    int seen = 0;
    for (std::string line; std::getline(file, line);) {
        for (const std::string_view set : {"CapEff:", "CapBnd:"}) {
            if (line.starts_with(set)) {
                if (line.find_first_not_of("0 \t", set.size()) != std::string::npos) {
                    return "capabilities are left: " + line;
                }
                ++seen;
            }
        }
    }
    return seen == 2 ? "" : "the capabilities cannot be told";
}

// By the mount on top, the last one that is listed.
std::string kernelSettingsFault(const std::string& root) {
    std::ifstream file(root + "/proc/self/mountinfo");
    bool readOnly = false;
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string skipped;
        std::string place;
        std::string options;
        fields >> skipped >> skipped >> skipped >> skipped >> place >> options;
        if (place == layout::kKernelSettings) {
            readOnly = options == "ro" || options.starts_with("ro,");
        }
    }
    return readOnly ? "" : fmt::format("{} is not read-only", layout::kKernelSettings);
}

std::string socketFault(const std::string& root) {
    for (const char* path : kServiceSockets) {
        struct stat status = {};
        if (lstat((root + path).c_str(), &status) == 0) {
            return fmt::format("{} is there", path);
        }
    }
    return "";
}

} // namespace

std::string sandboxFault(const std::string& root) {
    const Marker marker = readMarker(root);
    if (marker.recorder.empty()) {
        return "no marker";
    }
    std::string fault = namespaceFault(root, "pid", marker.pidNamespace);
    if (fault.empty()) {
        fault = namespaceFault(root, "mnt", marker.mountNamespace);
    }
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        // Where it stands, and as the module runs it: "/sbin" may lead elsewhere.
        for (const std::string& command :
             {layout::realPlaceOf(action.command), std::string(action.command)}) {
            if (fault.empty()) {
                fault = commandFault(root + command, marker.recorder);
            }
        }
    }
    if (fault.empty()) {
        fault = capabilityFault(root);
    }
    if (fault.empty()) {
        fault = kernelSettingsFault(root);
    }
    return fault.empty() ? socketFault(root) : fault;
}

void assertSandboxInForce() {
    const std::string fault = sandboxFault("");
    if (!fault.empty()) {
        fmt::print(stderr,
                   "volad-dev: refused outside the sandbox ({}); start it with: volad-dev sandbox -- ...\n",
                   fault);
        std::exit(kExitNoSandbox); // NOLINT(concurrency-mt-unsafe): first act of a program with one thread
    }
}

} // namespace volad_dev
