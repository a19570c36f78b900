// What a run's judges must know of it beforehand, and the run's own records beside the module's.
#pragma once

#include <cstdint>
#include <string>

namespace em::test {

struct RunFacts {
    int64_t delayMs = 60'000;   // what the host's answer comes to, as all of them
    int64_t forceDelay = 120;   // seconds
    int64_t jobMs = -1;         // how long the job runs; -1 = there is none
    int64_t jobLimitMs = 0;     // 0 = it is not waited for
    std::string jobDirectory{}; // where it runs; empty = wherever, and so the command
    bool offTime = false;       // the host gives a power-off time
    bool offTimeDue = false;    // and nothing keeps the module from it
    bool gate = true;           // at first
    int64_t toolMs = 0;
    bool root = true;
    bool childrenFail = false; // a start of a child is made to fail
    bool queriesFail = false;  // something that the maintenance query needs is
    bool waitsFail = false;    // an event or a wait on one is
    int64_t slackMs = 0;       // by which a failed wait may be late
    int64_t silenceMs = 0;     // of the host, ahead of what ends a task
};

// "# " and one of these.
namespace mark {
inline constexpr char kAsks[] = "# asks "; // a host thread is about to; then code and reason
inline constexpr char kTool[] = "# tool "; // started; its character, or "-" for none that comes in time
inline constexpr char kRan[] = "# ran ";   // a child; then its command and, behind kIn, where
inline constexpr char kIn[] = " in ";
inline constexpr char kNotified[] = "# disconnect returned";
inline constexpr char kFlips[] = "# maintenance flips";
inline constexpr char kStopped[] = "# stop returned";
} // namespace mark

} // namespace em::test
