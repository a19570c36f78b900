#include "host/files/registry_hold.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include "base/clock.h"
#include "base/unique_fd.h"
#include "platform/registry/registry_state.h"

namespace volad_dev {
namespace {

constexpr uint64_t kLimitMs = 10'000;
constexpr uint64_t kPollMs = 5;

} // namespace

em::RegistryFailure waitForRegistryLock(const std::string& directory, em::RegistryLock& lock) {
    const em::UniqueFd opened(em::sys::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened.valid()) {
        return {"open directory", errno};
    }
    const em::Deadline limit = em::Deadline::in(kLimitMs);
    for (;;) {
        const em::RegistryFailure failure = lock.tryLock(opened.get());
        if (failure.error != EWOULDBLOCK || limit.remainingMs() == 0) {
            return failure;
        }
        em::sleepMs(kPollMs);
    }
}

RegistryHold::RegistryHold(const std::string& directory) {
    const em::RegistryFailure failure = waitForRegistryLock(directory, m_lock);
    if (failure.failedAt != nullptr) {
        throw std::runtime_error(fmt::format("{}/{}: {}: {}", directory, em::kRegistryLock, failure.failedAt,
                                             std::generic_category().message(failure.error)));
    }
    em::registryState.value.setLocked(true);
}

RegistryHold::~RegistryHold() {
    em::registryState.value.setLocked(false);
}

} // namespace volad_dev
