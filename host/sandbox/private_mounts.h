// What bubblewrap cannot do: mounts of the launcher's child alone, made before it becomes bubblewrap, from
// which the sandbox is then bound.
// Why: docs/decisions/private-mounts.md
#pragma once

#include <sched.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace volad_dev {

// Where the sandbox's own "/usr/bin", the writable places in memory ("/sys/tmp" and so on) and the copies
// ("/sys/copies/0" and so on) stand, and where what is bound is held ("/sys/bound/0" and so on): where no
// sandbox shows anything else.
inline constexpr const char* kPlaceOfBin = "/sys/bin";
[[nodiscard]] std::string placeOfMemory(const std::string& place);
[[nodiscard]] std::string placeOfCopy(size_t index);
[[nodiscard]] std::string placeOfBound(size_t index);

// The devices that a sandbox has.
inline constexpr std::array<const char*, 6> kDevices = {"/dev/null",   "/dev/zero",    "/dev/full",
                                                        "/dev/random", "/dev/urandom", "/dev/tty"};

// A link in "/usr/bin", or an empty file for something to be bound over it.
struct BinEntry {
    std::string name;
    std::string target; // empty: a file
};

// Throws Failure (kExitUsage) naming the path with which the copies would hold more than `size` bytes, in
// whole pages and at least one for each entry, or that is neither file nor directory. entries counts what was
// looked at, as for what is bound.
void checkCopies(const std::vector<std::string>& copies, uint64_t size, size_t& entries);

struct PrivateMounts {
    std::string program; // what the child becomes, process 1 inside
    std::vector<BinEntry> bin;
    std::vector<std::string> copies, bound; // real paths
    uint64_t size = 0;
    uid_t user = 0; // of the launcher, by number
    gid_t group = 0;
    // Whether no user namespace but bubblewrap's can be made. Needed where --disable-userns is not taken.
    bool oneUserNamespace = false;
};

// What the child is to be cloned with: a process that has threads already cannot enter a user namespace.
inline constexpr unsigned long kPrivateNamespaces = CLONE_NEWUSER | CLONE_NEWNS;

// In the child, so that in its namespaces
// - user and group are who they were;
// - the device files that a sandbox has are mounted read-only, since their owner, who is user 0 inside, could
//   change their mode for the whole machine; those of `standard` that are devices are opened anew there;
// - so is the program, which everybody inside finds as /proc/1/exe;
// - the sandbox's "/usr/bin" is laid, a thousand links which bubblewrap would take longer for than for all
// else;
// - each writable place in memory is a file system of `size` bytes, and of an entry for each 2 KiB,
//   since one without content takes memory too, and bubblewrap bounds none;
// - the copies stand in one more, without sockets, FIFOs and devices;
// - what is to be bound is held: bubblewrap would follow a link that was put there in the meantime. So
//   would a copy, which is made without following any.
// Throws std::exception.
void layPrivateMounts(const PrivateMounts& mounts, const std::vector<int>& standard);

} // namespace volad_dev
