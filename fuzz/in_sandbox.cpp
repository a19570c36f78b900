// Every fuzzer starts here: not one input without the sandbox. What starts a process is refused by the fake
// of the seam besides, where a fuzzer could come near to it.
#include "host/sandbox/sandbox_guard.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    volad_dev::assertSandboxInForce();
    return 0;
}
