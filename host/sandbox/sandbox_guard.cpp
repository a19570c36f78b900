#include "host/sandbox/sandbox_guard.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

#include <fmt/format.h>

#include "host/common/exit_code.h"
#include "host/sandbox/sandbox_layout.h"
#include "host/sandbox/system_call_filter.h"

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
    std::array<std::string, layout::kMarkedNamespaces.size()> namespaces;
    std::string standIn; // "device:inode name"
};

constexpr std::array<std::string_view, 5> kCapabilitySets = {
    "CapEff:", "CapBnd:", "CapPrm:", "CapInh:", "CapAmb:"};

Marker readMarker(const std::string& root) {
    Marker marker;
    std::ifstream file(root + layout::kMarker);
    for (std::string& name : marker.namespaces) {
        std::getline(file, name);
    }
    std::getline(file, marker.standIn);
    return marker;
}

std::string namespaceFault(const std::string& root, const char* kind, const std::string& outer) {
    std::error_code failed;
    const std::string present = fs::read_symlink(root + "/proc/self/ns/" + kind, failed);
    if (failed || present.empty() || outer.empty()) {
        return fmt::format("the {} namespace cannot be told", kind);
    }
    const bool first = std::ranges::find(layout::kFirstNamespaces, present) != layout::kFirstNamespaces.end();
    return first || present == outer ? fmt::format("the {} namespace is the machine's own", kind) : "";
}

bool holds(const std::string& path, const char* signature) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str().find(signature) != std::string::npos;
}

std::string commandFault(const std::string& path, const std::string& standIn, const SandboxRules& rules) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 ||
        fmt::format("{}:{} {}", status.st_dev, status.st_ino, rules.name) != standIn ||
        !holds(path, rules.signature)) {
        return fmt::format("{} is not the {}", path, rules.name);
    }
    return "";
}

bool holdsNoMoreThan(uint64_t allowed, std::string_view set) {
    set.remove_prefix(std::min(set.size(), set.find_first_not_of(" \t")));
    uint64_t bits = ~uint64_t{0};
    const char* const end = set.data() + set.size();
    return std::from_chars(set.data(), end, bits, 16) == std::from_chars_result{end, {}} &&
           (bits & ~allowed) == 0;
}

// A set with any other bit does not pass, nor one that cannot be read.
std::string capabilityFault(const std::string& root, uint64_t allowed) {
    std::ifstream file(root + "/proc/self/status");
    size_t seen = 0;
    for (std::string line; std::getline(file, line);) {
        for (const std::string_view set : kCapabilitySets) {
            if (line.starts_with(set)) {
                if (!holdsNoMoreThan(allowed, std::string_view(line).substr(set.size()))) {
                    return "capabilities are left: " + line;
                }
                ++seen;
            }
        }
    }
    return seen == kCapabilitySets.size() ? "" : "the capabilities cannot be told";
}

// By the mount on top, the last one that is listed.
std::string writableFault(const std::string& root, const char* kernelPlace) {
    std::ifstream file(root + "/proc/self/mountinfo");
    bool readOnly = false;
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string skipped;
        std::string place;
        std::string options;
        fields >> skipped >> skipped >> skipped >> skipped >> place >> options;
        if (place == kernelPlace) {
            readOnly = options == "ro" || options.starts_with("ro,");
        }
    }
    return readOnly ? "" : fmt::format("{} is not read-only", kernelPlace);
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

std::string sandboxFault(const std::string& root, int typing, SandboxMode mode) {
    const SandboxRules rules = rulesOf(mode);
    const Marker marker = readMarker(root);
    if (marker.standIn.empty()) {
        return "no marker";
    }
    std::string fault;
    const auto ask = [&fault](const auto& question, const auto&... about) {
        fault = fault.empty() ? question(about...) : fault;
    };
    for (size_t i = 0; i < marker.namespaces.size(); ++i) {
        ask(namespaceFault, root, layout::kMarkedNamespaces[i], marker.namespaces[i]);
    }
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        // Where it stands, and as the module runs it: "/sbin" may lead elsewhere.
        ask(commandFault, root + layout::realPlaceOf(action.command), marker.standIn, rules);
        ask(commandFault, root + action.command, marker.standIn, rules);
    }
    ask(capabilityFault, root, rules.capabilities);
    for (const char* place : layout::kKernelPlaces) {
        ask(writableFault, root, place);
    }
    ask(socketFault, root);
    return fault.empty() && typing != EPERM ? "one may type into a terminal" : fault;
}

void assertSandboxInForce(SandboxMode mode) {
    const std::string fault = sandboxFault("", typingError(), mode);
    if (!fault.empty()) {
        fmt::print(stderr,
                   "volad-dev: refused outside the sandbox ({}); start it with: volad-dev sandbox -- ...\n",
                   fault);
        std::exit(kExitNoSandbox); // NOLINT(concurrency-mt-unsafe): first act of a program with one thread
    }
}

} // namespace volad_dev
