// How far a shutdown has come. The values are what the host is told.
#pragma once

#include <cstdint>

namespace em {

enum class ShutdownStatus : uint8_t {
    None = 0,
    Requested = 1,
    DelayRunning = 2,
    Executing = 3, // no longer cancellable
    Cancelled = 4, // by a request
    Aborted = 5,   // by the cancel operation
};

// May still be cancelled.
constexpr bool IsShutdownPending(ShutdownStatus status) {
    return status == ShutdownStatus::Requested || status == ShutdownStatus::DelayRunning;
}

constexpr bool IsShutdownInProgress(ShutdownStatus status) {
    return status == ShutdownStatus::Executing;
}

} // namespace em
