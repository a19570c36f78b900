// The thread that is started behind a shutdown command with a force delay. It announces a sleep that it does
// not take, and a forced command that it does not run: this disabled state is kept on purpose.
#include <pthread.h>

#include "base/system.h"
#include "contract/shutdown_actions.h"
#include "osshutdown/job_runner.h"
#include "osshutdown/os_shutdown.h"
#include "platform/threads/thread_boundary.h"

namespace em {
namespace {

constexpr uint64_t kExtraDelaySeconds = 180;

bool announceSleep(uint32_t forceDelaySeconds) {
    return swallow([&] {
        EM_TRACE_OR_THROW(1, "COSShutdown         : HardShutdown: Thread is going to sleep for %d msec.\n",
                          asInt((forceDelaySeconds + kExtraDelaySeconds) * 1000));
        EM_TRACE_OR_THROW(1, "COSShutdown         : HardShutdown: Thread is not going to sleep really !!!\n");
    });
}

void forceShutdown(uint32_t kind) {
    EM_TRACE(1, "\nCOSShutdown         : FATAL ERROR! Exception during HardShutdown()\n");
    static_cast<void>(sys::chdir("/")); // as before the command that was not forced
    runCommand(shutdownActionOf(kind).forcedCommand, 0);
}

} // namespace

void* COSShutdown::HardShutdown(void* executor) {
    return runThreadBody("HardShutdown()", [executor] {
        if (executor != nullptr) {
            static_cast<const COSShutdown*>(executor)->AnnounceHardShutdown();
        }
    });
}

void COSShutdown::AnnounceHardShutdown() const {
    const int thread = asInt(::pthread_self());
    EM_TRACE(2, "\nCOSShutdown         : START THREAD (%d) HardShutdown!", thread);
    const uint32_t forceDelay = m_nForceDelay;
    const uint32_t kind = m_nShutdownKind;
    if (!traceEnabled()) {
        return;
    }
    // Only a trace that throws leads to the forced command, so announceSleep must let such a throw show.
    if (!announceSleep(forceDelay)) {
        forceShutdown(kind);
    }
    EM_TRACE(2, "COSShutdown         : EXIT THREAD (%d) HardShutdown!\n", thread);
}

} // namespace em
