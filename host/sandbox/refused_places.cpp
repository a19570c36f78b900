#include "host/sandbox/refused_places.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

enum class Extent { Itself, Below }; // the place alone, or all that lies in it too

struct RefusedPlace {
    const char* place;
    Extent extent;
    const char* what;
};

constexpr const char* kEngine = "the state of a container engine";
constexpr const char* kShared = "shared with others";
constexpr const char* kSystem = "part of the system";

// A path that is above one of these is refused as well.
constexpr std::array<RefusedPlace, 19> kRefused = {{
    {"/usr", Extent::Itself, "there already"},
    {"/etc", Extent::Itself, "there already, without its secrets"},
    {"/run", Extent::Below, "where services listen"},
    {"/var/run", Extent::Below, "where services listen"},
    {"/proc", Extent::Below, "the machine's processes and kernel settings"},
    {"/sys", Extent::Below, "the machine's devices and kernel settings"},
    {"/dev", Extent::Below, "the machine's devices"},
    {"/var/lib/systemd", Extent::Below, "the state of the service manager"},
    {"/var/lib/machines", Extent::Below, kEngine},
    {"/var/lib/docker", Extent::Below, kEngine},
    {"/var/lib/containerd", Extent::Below, kEngine},
    {"/var/lib/containers", Extent::Below, kEngine},
    {"/var/lib/kubelet", Extent::Below, kEngine},
    {"/var/lib/lxc", Extent::Below, kEngine},
    {"/var/lib/lxd", Extent::Below, kEngine},
    {"/var/lib/incus", Extent::Below, kEngine},
    {"/var/lib/rancher", Extent::Below, kEngine},
    {"/var/lib/libvirt", Extent::Below, kEngine},
    {"/var/snap/docker", Extent::Below, kEngine},
}};

// Nor is a path above or in one of these laid out inside: the sandbox has its own there.
constexpr std::array<RefusedPlace, 1> kNotShown = {{
    {layout::kScratch, Extent::Below, "the scratch directory inside"},
}};
constexpr std::array<RefusedPlace, 2> kNotCopied = {{
    {"/usr/bin", Extent::Below, "where the sandbox has its stand-ins"},
    {"/usr/sbin", Extent::Below, "where the sandbox has its stand-ins"},
}};
constexpr std::array<RefusedPlace, 9> kNotWritten = {{
    {"/usr", Extent::Below, kSystem},
    {"/etc", Extent::Below, kSystem},
    {"/boot", Extent::Below, kSystem},
    {"/home", Extent::Itself, kShared},
    {"/root", Extent::Itself, kShared},
    {"/opt", Extent::Itself, kShared},
    {"/srv", Extent::Itself, kShared},
    {"/tmp", Extent::Itself, kShared},
    {"/var/tmp", Extent::Itself, kShared},
}};

// Through them one reaches the machine, wherever they are mounted.
constexpr std::array<std::string_view, 16> kKernelFileSystems = {
    "proc",    "sysfs",      "devtmpfs", "devpts",   "cgroup", "cgroup2",     "bpf",     "debugfs",
    "tracefs", "securityfs", "configfs", "efivarfs", "mqueue", "binfmt_misc", "fusectl", "pstore"};

bool sameFile(const std::string& one, const std::string& other) {
    struct stat first = {};
    struct stat second = {};
    return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

template <size_t N>
std::string faultIn(const std::array<RefusedPlace, N>& table, const std::string& path) {
    for (const RefusedPlace& refused : table) {
        std::error_code ignored;
        if (path == refused.place || (refused.extent == Extent::Below && isWithin(path, refused.place))) {
            return fmt::format("{} is {}", refused.place, refused.what);
        }
        if (isWithin(refused.place, path) && fs::exists(refused.place, ignored)) {
            return fmt::format("it holds {}, {}", refused.place, refused.what);
        }
    }
    return "";
}

std::string faultOf(const std::string& path, PathUse use) {
    std::string fault = faultIn(kRefused, path);
    if (fault.empty() && use != PathUse::Write) {
        fault = faultIn(kNotShown, path);
    }
    if (fault.empty() && use == PathUse::Copy) {
        fault = faultIn(kNotCopied, path);
    }
    return fault.empty() && use == PathUse::Write ? faultIn(kNotWritten, path) : fault;
}

// The same directory by a second mount has another path.
std::string otherNameFault(const std::string& path) {
    for (const char* place : {"/", "/usr", "/etc", "/run", "/proc", "/sys", "/dev"}) {
        if (path != place && sameFile(path, place)) {
            return fmt::format("{} is {} by another name", path, place);
        }
    }
    return "";
}

struct Mount {
    std::string place, type;
};

// As the kernel lists it, blanks and the like in octal.
std::string unescaped(const std::string& text) {
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size()) {
            plain += static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

std::vector<Mount> mounts() {
    std::vector<Mount> all;
    std::ifstream file("/proc/self/mountinfo");
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string field;
        Mount mount;
        for (int number = 1; fields >> field; ++number) {
            if (number == 5) {
                mount.place = unescaped(field);
            } else if (field == "-") { // behind the optional fields
                fields >> mount.type;
                break;
            }
        }
        all.push_back(mount);
    }
    return all;
}

std::string mountFault(const std::string& path) {
    Mount around; // what the path itself lies on: the last one of the longest name
    for (const Mount& mount : mounts()) {
        if (isWithin(path, mount.place) && mount.place.size() >= around.place.size()) {
            around = mount;
        }
        const bool kernels = std::ranges::find(kKernelFileSystems, mount.type) != kKernelFileSystems.end();
        if (kernels && isWithin(mount.place, path)) {
            return fmt::format("a file system of the kernel ({}) is mounted at {}", mount.type, mount.place);
        }
        std::string fault = isWithin(mount.place, path) ? otherNameFault(mount.place) : "";
        if (!fault.empty()) {
            return fault;
        }
    }
    return std::ranges::find(kKernelFileSystems, around.type) != kKernelFileSystems.end()
               ? fmt::format("it lies in a file system of the kernel ({})", around.type)
               : "";
}

} // namespace

bool isWithin(const std::string& path, const std::string& place) {
    return place == "/" || path == place || (path.starts_with(place) && path[place.size()] == '/');
}

std::string allowedPath(const std::string& option, const std::string& path, PathUse use) {
    std::error_code failed;
    std::string real = fs::canonical(path, failed);
    std::string fault = failed ? failed.message() : "";
    if (path.find('\0') != std::string::npos) {
        fault = "a NUL byte in it"; // what lies in front of it was looked at only
    }
    for (const std::string& name : {fs::absolute(path).lexically_normal().string(), real}) {
        // A name that ends with a slash is the same place.
        const std::string plain =
            name.size() > 1 && name.ends_with('/') ? name.substr(0, name.size() - 1) : name;
        fault = fault.empty() ? faultOf(plain, use) : fault;
    }
    fault = fault.empty() ? otherNameFault(real) : fault;
    fault = fault.empty() ? mountFault(real) : fault;
    if (!fault.empty()) {
        throw Failure(fmt::format("{} {}: refused, {}", option, path, fault), kExitUsage);
    }
    return real;
}

} // namespace volad_dev
