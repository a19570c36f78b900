#include "host/launch/rehearsal_launch.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iterator>

#include <fmt/format.h>

#include "contract/settings.h"
#include "host/common/failure.h"
#include "host/common/json_output.h"
#include "host/common/standard_streams.h"
#include "host/launch/interruption.h"
#include "host/launch/job_world.h"
#include "host/launch/machine_answers.h"
#include "host/launch/module_files.h"
#include "host/launch/rehearsal_session.h"
#include "host/rehearsal/schedule.h"
#include "host/run/run_json.h"
#include "host/sandbox/sandbox_environment.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

// Once, since it may be a pipe, and so that both halves go by the same.
Settings readSettingsOnce(LaunchOptions& options) {
    Settings settings;
    if (!options.run.settings.empty()) {
        options.settingsText = readSettingsText(options.run.settings);
        settings = parseSettings(options.settingsText, options.run.settings);
    }
    if (options.jobOnly && settings.jobName.value_or("").empty()) {
        throw Failure(options.run.settings + ": there is no job in these settings", kExitUsage);
    }
    return settings;
}

Gate askGate(LaunchOptions& options, const Interruption& interruption, std::vector<Warning>& warnings) {
    const auto [here, complaint] =
        gateHere(givenPath(options.sandbox), options.maintenanceHere, interruption);
    if (!complaint.empty()) {
        warnings.push_back({"gate-tool-complained", "the maintenance tool complained: " + complaint});
    }
    Maintenance& maintenance = options.sandbox.maintenance;
    if (options.maintenanceHere) {
        maintenance = here == GateHere::Enabled   ? Maintenance::On
                      : here == GateHere::Missing ? Maintenance::ToolMissing
                                                  : Maintenance::Off;
    }
    // Whoever asks this machine wants to know whether it would go: a refusal is not what was asked.
    options.run.maintenance = options.maintenanceHere ? Maintenance::On : maintenance;
    return {nameOf(maintenance), nameOf(here)};
}

// Whether the job, which tells where it ran, ran where it would here: a link inside may be a directory.
bool ranIn(const std::string& told, const std::string& real) {
    std::error_code failed;
    return fs::canonical(told, failed) == real;
}

// What the module inside could not see.
void complete(const LaunchOptions& options, const Gate& gate, const JobWorld& world, ShutdownRun& run) {
    run.gate = gate;
    run.warnings.insert(run.warnings.begin(), world.warnings.begin(), world.warnings.end());
    if (!options.jobOnly) {
        std::ranges::move(contradictions(run, *options.run.action), std::back_inserter(run.warnings));
    }
    if (run.job && !world.directory.empty() && !run.job->directory.empty() &&
        !ranIn(run.job->directory, world.directory)) {
        run.warnings.push_back(
            {"job-directory-not-shown",
             fmt::format("on this machine the job would run in \"{}\", which the sandbox does not show",
                         world.directory)});
    }
    if (!options.sandbox.scratch.empty()) {
        run.warnings.push_back(
            {"scratch-unbounded",
             fmt::format("what the job writes to {} is not bounded: that is a directory of "
                         "this machine",
                         options.sandbox.scratch)});
    }
    if (options.strict && (run.job ? !run.job->succeeded() : options.jobOnly)) {
        run.asAsked = false;
    }
}

int exitCodeOf(const ShutdownRun& run) {
    if (run.end == RunEnd::Interrupted) {
        return kExitInterrupted;
    }
    return run.asAsked ? kExitAsAsked : kExitOtherwise;
}

// A file that the job could put another one in place of.
void checkJsonPlace(const LaunchOptions& options) {
    std::error_code failed;
    const fs::path scratch = fs::canonical(options.sandbox.scratch, failed);
    if (options.sandbox.scratch.empty() || options.json.empty() || failed) {
        return;
    }
    const fs::path file = fs::weakly_canonical(fs::absolute(options.json), failed);
    const auto [end, unused] = std::mismatch(scratch.begin(), scratch.end(), file.begin(), file.end());
    if (end == scratch.end()) {
        throw Failure("--json may not lie in the directory of --scratch, where the job writes", kExitUsage);
    }
}

// Seconds. What holds the module ends a run that takes longer than its settings explain; this is longer.
double longestRun(const RehearsalOptions& options, const Settings& settings) {
    constexpr double kSpare = 300;
    double longest = settings.shutdownDelay.value_or(*em::setting::kShutdownDelay.fallback);
    longest += settings.jobTimeout.value_or(*em::setting::kJobTimeout.fallback) + kSpare;
    if (options.schedule) {
        const time_t now = time(nullptr);
        longest += std::max(0.0, difftime(nextMoment(*options.schedule, now), now));
    }
    return longest;
}

} // namespace

int launchRehearsal(LaunchOptions options) {
    placeModuleFiles(options.run.module, options.run.settings, options.run.messages);
    const Settings settings = readSettingsOnce(options);
    JobWorld world = jobWorld(settings);
    options.sandbox.needed = neededPaths(options.run.module, options.run.messages, world.places);
    options.run.uid = options.sandbox.uid;
    checkJsonPlace(options);
    // Nobody may not rename in the caller's directory.
    JsonOutput json(options.json,
                    options.sandbox.asNobody ? JsonOutput::Way::InPlace : JsonOutput::Way::Whole);
    ignoreBrokenPipes(); // a reader that goes away must not cost the run its orderly end
    const Interruption interruption;
    const bool silent = json.takesStandardOutput();
    RunView view({silent, !silent && standardOutputIsLive(), options.jobOnly}, settings);
    if (options.maintenanceHere) {
        view.waitingFor("asking this machine's maintenance tool");
    }
    const Gate gate = askGate(options, interruption, world.warnings);

    RehearsalSession session(options, interruption, view, longestRun(options.run, settings));
    ShutdownRun run = session.follow();
    complete(options, gate, world, run);
    view.conclude(run, session.output());
    if (json.asked()) {
        json.write(options.jobOnly ? jobJson(run) : runJson(run));
    }
    return exitCodeOf(run);
}

} // namespace volad_dev
