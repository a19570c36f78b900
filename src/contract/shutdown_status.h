// How far a shutdown has come. The values are what the host is told (527) and what a query is answered.
#pragma once

#include <array>
#include <cstdint>

namespace em {

enum class ShutdownStatus : uint8_t {
    None = 0,
    Requested = 1,
    DelayRunning = 2, // also while the job and the command run
    Executing = 3,    // no longer cancellable
    Cancelled = 4,    // by a request
    Aborted = 5,      // by the cancel operation, or because the maintenance mode is not set
};

// For people, by value.
inline constexpr std::array kShutdownStatusNames = {"none",      "requested", "delay running",
                                                    "executing", "cancelled", "aborted"};

// May still be cancelled.
constexpr bool IsShutdownPending(ShutdownStatus status) {
    return status == ShutdownStatus::Requested || status == ShutdownStatus::DelayRunning;
}

constexpr bool IsShutdownInProgress(ShutdownStatus status) {
    return status == ShutdownStatus::Executing;
}

} // namespace em
