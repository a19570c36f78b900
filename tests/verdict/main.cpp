// kernel_verdict [CASE...]: what becomes of the machine, told by the kernel. Plays each case, or those named,
// in a sandbox whose commands call reboot(2) in its own process namespace, and reads how that ended.
// `kernel_verdict inside CASE` is the half that loads the module; `kernel_verdict sandbox ...` runs any
// command in such a sandbox.
#include <algorithm>
#include <memory>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "host/common/exit_code.h"
#include "host/common/failure.h"
#include "host/sandbox/sandbox.h"
#include "host/sandbox/sandbox_command.h"
#include "host/sandbox/sandbox_guard.h"
#include "verdict/case.h"

namespace {

using em::test::Case;
using volad_dev::SandboxMode;

std::vector<const Case*> chosen(const std::vector<std::string>& names) {
    std::vector<const Case*> all;
    for (const Case& each : em::test::cases()) {
        if (names.empty() || std::ranges::find(names, each.name) != names.end()) {
            all.push_back(&each);
        }
    }
    if (all.empty() || (!names.empty() && all.size() != names.size())) {
        throw volad_dev::Failure("no such case", volad_dev::kExitUsage);
    }
    return all;
}

int inSandbox(int argc, char** argv) {
    volad_dev::SandboxOptions options;
    options.mode = SandboxMode::Ending;
    std::vector<std::string> command;
    CLI::App app;
    volad_dev::addSandboxOptions(app, options);
    app.add_option("command", command)->required();
    app.parse(argc, argv);
    return volad_dev::runInSandbox(options, command);
}

int run(int argc, char** argv) {
    const std::string verb = argc > 1 ? argv[1] : "";
    if (verb == "sandbox") {
        return inSandbox(argc - 1, argv + 1);
    }
    if (verb == "inside") {
        volad_dev::assertSandboxInForce(SandboxMode::Ending);
        return em::test::playHost(*chosen({argv + 2, argv + argc}).front());
    }
    return em::test::judge(chosen({argv + 1, argv + argc})) ? 0 : volad_dev::kExitOtherwise;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const volad_dev::Failure& failure) {
        volad_dev::printFailure(failure.what());
        return failure.code();
    } catch (const std::exception& exception) {
        volad_dev::printFailure(exception.what());
        return volad_dev::kExitUsage;
    }
}
