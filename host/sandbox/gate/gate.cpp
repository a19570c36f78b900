// volad-dev-gate COMMAND...: what the sandbox starts first. Asks the guard and becomes the command; outside
// of the sandbox it ends with exit code 3. A program of its own, plain in every preset: each sandbox waits
// for it.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include <fmt/format.h>

#include "host/common/exit_code.h"
#include "host/common/failure.h"
#include "host/sandbox/sandbox_guard.h"

int main(int argc, char** argv) {
    using volad_dev::SandboxMode;
    const bool ending = argc > 1 && argv[1] == std::string_view(volad_dev::kEndingOption);
    volad_dev::assertSandboxInForce(ending ? SandboxMode::Ending : SandboxMode::Recording);
    argv += ending ? 1 : 0;
    if (argv[0] == nullptr || argv[1] == nullptr) {
        return volad_dev::kExitUsage;
    }
    execvp(argv[1], argv + 1);
    const int error = errno;
    volad_dev::printFailure(fmt::format("{}: {}", argv[1], strerrordesc_np(error)));
    return error == ENOENT ? 127 : 126; // as a shell tells it
}
