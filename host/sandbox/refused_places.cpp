#include "host/sandbox/refused_places.h"

#include <fcntl.h>
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

struct Mount {
    uint64_t id = 0;
    std::string device, root; // the file system, and what of it is mounted
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
        for (int number = 1; std::getline(fields, field, ' '); ++number) { // other blanks are part of a name
            if (number == 1) {
                mount.id = std::stoull(field);
            } else if (number == 3) {
                mount.device = field;
            } else if (number == 4) {
                mount.root = unescaped(field);
            } else if (number == 5) {
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

// What a path lies on: the last one of the longest name.
Mount mountOf(const std::string& path, const std::vector<Mount>& all) {
    struct statx status = {};
    if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_MNT_ID, &status) == 0 &&
        (status.stx_mask & STATX_MNT_ID) != 0) {
        const auto found = std::ranges::find(all, status.stx_mnt_id, &Mount::id);
        if (found != all.end() && isWithin(path, found->place)) {
            return *found;
        }
    }
    Mount around;
    for (const Mount& mount : all) {
        if (isWithin(path, mount.place) && mount.place.size() >= around.place.size()) {
            around = mount;
        }
    }
    return around;
}

// A path within its file system, which it has by whatever name it is mounted.
struct Spot {
    std::string device, path;
};

// Nothing where the kernel does not tell which part of the file system is mounted, as of NFS.
Spot spotOf(const std::string& path, const std::vector<Mount>& all) {
    const Mount mount = mountOf(path, all);
    if (mount.type.starts_with("nfs")) {
        return {};
    }
    const std::string below = mount.place == "/" ? path : path.substr(mount.place.size());
    const std::string spot = (mount.root == "/" ? "" : mount.root) + (below == "/" ? "" : below);
    return {mount.device, spot.empty() ? "/" : spot};
}

bool covers(const RefusedPlace& refused, const std::string& place, const std::string& path) {
    return path == place || (refused.extent == Extent::Below && isWithin(path, place));
}

template <size_t N>
std::string faultByName(const std::array<RefusedPlace, N>& table, const std::string& path) {
    for (const RefusedPlace& refused : table) {
        std::error_code ignored;
        if (covers(refused, refused.place, path)) {
            return fmt::format("{} is {}", refused.place, refused.what);
        }
        if (isWithin(refused.place, path) && fs::exists(refused.place, ignored)) {
            return fmt::format("it holds {}, {}", refused.place, refused.what);
        }
    }
    return "";
}

// Whether it is the place by another name, lies in it or holds it, or lies in memory that is mounted in the
// place. Of a disk that is mounted there something may well be mounted elsewhere, too.
bool isBySpot(const RefusedPlace& refused, const std::string& real, const Spot& spot,
              const std::vector<Mount>& all) {
    const Spot place = spotOf(real, all);
    if (spot.device.empty()) {
        return false;
    }
    const bool same = place.device == spot.device &&
                      (covers(refused, place.path, spot.path) || isWithin(place.path, spot.path));
    return same || std::ranges::any_of(all, [&](const Mount& mount) {
               return mount.type == "tmpfs" && covers(refused, real, mount.place) &&
                      mount.device == spot.device && covers(refused, mount.root, spot.path);
           });
}

template <size_t N>
std::string faultIn(const std::array<RefusedPlace, N>& table, const std::string& path,
                    const std::vector<Mount>& all) {
    std::string fault = faultByName(table, path);
    if (!fault.empty()) {
        return fault;
    }
    const Spot spot = spotOf(path, all);
    for (const RefusedPlace& refused : table) {
        std::error_code failed;
        const std::string real = fs::canonical(refused.place, failed);
        const bool named = covers(refused, real, path) || isWithin(real, path);
        if (!failed && (named || isBySpot(refused, real, spot, all))) {
            return fmt::format("{} is or holds {} by another name, {}", path, refused.place, refused.what);
        }
    }
    return "";
}

std::string faultOf(const std::string& path, PathUse use, const std::vector<Mount>& all) {
    std::string fault = faultIn(kRefused, path, all);
    if (fault.empty() && use != PathUse::Write) {
        fault = faultByName(kNotShown, path); // only its name inside counts
    }
    if (fault.empty() && use == PathUse::Copy) {
        fault = faultIn(kNotCopied, path, all);
    }
    return fault.empty() && use == PathUse::Write ? faultIn(kNotWritten, path, all) : fault;
}

bool isKernels(const Mount& mount) {
    return std::ranges::find(kKernelFileSystems, mount.type) != kKernelFileSystems.end();
}

std::string mountFault(const std::string& path, PathUse use, const std::vector<Mount>& all) {
    for (const Mount& mount : all) {
        if (!isWithin(mount.place, path)) {
            continue;
        }
        if (isKernels(mount)) {
            return fmt::format("a file system of the kernel ({}) is mounted at {}", mount.type, mount.place);
        }
        std::string fault = faultOf(mount.place, use, all);
        if (!fault.empty()) {
            return fault;
        }
    }
    const Mount around = mountOf(path, all);
    return isKernels(around) ? fmt::format("it lies in a file system of the kernel ({})", around.type) : "";
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
    const std::vector<Mount> all = mounts();
    for (const std::string& name : {fs::absolute(path).lexically_normal().string(), real}) {
        // A name that ends with a slash is the same place.
        const std::string plain =
            name.size() > 1 && name.ends_with('/') ? name.substr(0, name.size() - 1) : name;
        fault = fault.empty() ? faultOf(plain, use, all) : fault;
    }
    fault = fault.empty() ? mountFault(real, use, all) : fault;
    if (!fault.empty()) {
        throw Failure(fmt::format("{} {}: refused, {}", option, path, fault), kExitUsage);
    }
    return real;
}

} // namespace volad_dev
