#include "platform/threads/thread_boundary.h"

#include <pthread.h>

namespace em {

void traceThreadReturn() {
    EM_TRACE(1, "THREAD_RETURN: ## INFO: Thread = 0x%08X exited, Return = 0x%08x##\n",
             asUnsigned(::pthread_self()), 0U);
}

} // namespace em
