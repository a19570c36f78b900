// volad-dev-gate COMMAND...: what the sandbox starts first. Asks the guard and becomes the command; outside
// of the sandbox it ends with exit code 3. A program of its own, plain in every preset: each sandbox waits
// for it.
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "host/common/exit_code.h"
#include "host/common/failure.h"
#include "host/sandbox/sandbox_guard.h"

int main(int argc, char** argv) {
    volad_dev::assertSandboxInForce();
    if (argc < 2) {
        return volad_dev::kExitUsage;
    }
    execvp(argv[1], argv + 1);
    const int error = errno;
    volad_dev::printFailure(fmt::format("{}: {}", argv[1], strerrordesc_np(error)));
    return error == ENOENT ? 127 : 126; // as a shell tells it
}
