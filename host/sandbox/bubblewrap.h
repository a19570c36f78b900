// The child that becomes bubblewrap: which program that is, and what it finds open.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "base/unique_fd.h"
#include "host/common/pipe.h"
#include "host/sandbox/private_mounts.h"
#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// By its path: whatever a caller's PATH names would run the command with nothing around it.
inline constexpr const char* kBubblewrap = "/usr/bin/bwrap";

// Where the child finds its descriptors; status and error stay open until the command itself starts.
enum ChildFd : int {
    kArgumentsFd = 3,
    kMarkerFd,
    kAnswerFd,
    kToolFd,
    kFilterFd,
    kStatusFd,
    kErrorFd,
    kFirstUnusedFd
};
// Single digits, so that a shell can name them.
static_assert(kFirstUnusedFd <= kFirstPassedFd);

// Why the file is not the system's bubblewrap, empty when it is: a regular file, of root, that nobody else
// may change.
[[nodiscard]] std::string bubblewrapFault(const char* file);

struct Launch {
    em::UniqueFd arguments, marker, answer, tool, filter, input; // input: valid in place of standard input
    Pipe status, errors;
    PrivateMounts mounts;
};

// The child's number. It begins with bubblewrap, to which `command` is handed, and is killed at the caller's
// end. Throws std::system_error when there is none.
[[nodiscard]] pid_t startBubblewrap(const Launch& launch, const SandboxOptions& options,
                                    const std::vector<std::string>& command);

} // namespace volad_dev
