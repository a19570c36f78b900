#include "host/launch/job_command.h"

#include <memory>

#include <CLI/CLI.hpp>

#include "host/common/failure.h"
#include "host/common/json_output.h"
#include "host/launch/rehearsal_launch.h"
#include "host/rehearsal/request_options.h"
#include "host/sandbox/sandbox_command.h"

namespace volad_dev {
namespace {

int run(LaunchOptions options) {
    options.jobOnly = true;
    options.strict = true;
    options.run.withoutDelay = true;
    return launchRehearsal(options);
}

} // namespace

Command addJobCommand(CLI::App& app) {
    const auto options = std::make_shared<LaunchOptions>();
    CLI::App* const job = app.add_subcommand("job", "let the module run only its job, in a sandbox");
    addFileOptions(*job, options->run);
    job->get_option("--settings")->required();
    addJsonOption(*job, options->json);
    addSandboxOptions(*job, options->sandbox);
    return {job, [options] { return run(*options); }};
}

} // namespace volad_dev
