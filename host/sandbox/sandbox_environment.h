// The environment inside: nothing of the caller's but what is listed here, and what the options give.
#pragma once

#include <string>
#include <vector>

#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// The PATH that was chosen, else that of the service; empty without either.
[[nodiscard]] std::string givenPath(const SandboxOptions& options);

// PATH inside, directory by directory: the one that was chosen, else that of the service, else what a service
// manager gives its services. Throws Failure (kExitUsage) when one of them is not absolute, or none holds the
// stand-ins.
[[nodiscard]] std::vector<std::string> searchPath(const SandboxOptions& options);

// As arguments of bubblewrap. environment: the caller's. Throws Failure (kExitUsage) on a variable that may
// not be set.
[[nodiscard]] std::vector<std::string> environmentArguments(const SandboxOptions& options,
                                                            const char* const* environment);

} // namespace volad_dev
