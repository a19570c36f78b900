#include "host/story/explain_command.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/common/json_output.h"
#include "host/common/standard_streams.h"
#include "host/run/known_run_json.h"
#include "host/run/run_input.h"
#include "host/story/story.h"

namespace volad_dev {
namespace {

constexpr size_t kMostInDocument = 1024; // it is made in memory

struct ExplainCommand {
    std::string file;
    std::string json; // file, empty for none
    bool all = false;
};

int runExplainCommand(const ExplainCommand& command) {
    JsonOutput json(command.json);
    std::vector<KnownRun> kept; // for the document, or the last alone
    size_t shown = 0;
    const RunInput input = readRuns(command.file, [&](KnownRun&& run) {
        if (command.all && !json.takesStandardOutput()) {
            printWhole((shown++ == 0 ? "" : "\n") + storyOf(run));
        }
        if (command.all && json.asked()) {
            if (kept.size() < kMostInDocument) {
                kept.push_back(std::move(run));
            }
        } else {
            kept.clear();
            kept.push_back(std::move(run));
        }
    });
    if (input.shutdowns == 0) {
        throw Failure(nothingFoundText(command.file, input));
    }
    if (!command.all && !json.takesStandardOutput()) {
        printWhole(storyOf(kept.back()));
    }
    if (json.asked()) {
        json.write(knownRunsJson(kept));
    }
    if (command.all && json.asked() && input.shutdowns > kept.size()) {
        throw Failure(
            fmt::format("the document holds the first {} of {} shutdowns", kept.size(), input.shutdowns));
    }
    return kExitAsAsked;
}

} // namespace

Command addExplainCommand(CLI::App& app) {
    const auto chosen = std::make_shared<ExplainCommand>();
    ExplainCommand& target = *chosen;
    CLI::App* const explain =
        app.add_subcommand("explain", "tell from a trace what became of a shutdown, and what to do");
    explain->add_option("FILE", target.file, "a host's trace or a rehearsal's JSON, - is standard input")
        ->required();
    explain->add_flag("--all", target.all,
                      "each shutdown of the file in the order of the asking, not the last alone");
    addJsonOption(*explain, target.json);
    return {explain, [chosen] { return runExplainCommand(*chosen); }, false};
}

} // namespace volad_dev
