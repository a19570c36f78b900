#include "host/picture/timeline_command.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/common/option_checks.h"
#include "host/common/output_file.h"
#include "host/common/standard_streams.h"
#include "host/picture/run_picture.h"
#include "host/picture/svg_picture.h"
#include "host/picture/text_bars.h"
#include "host/picture/trace_events.h"
#include "host/run/run_input.h"

namespace volad_dev {
namespace {

constexpr const char* kSvg = "--svg";
constexpr const char* kTraceEvents = "--trace-events";

struct TimelineCommand {
    std::string file;
    std::string svg, traceEvents; // files, empty for none
};

std::string environment(const char* name) {
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): there is one thread
    return value != nullptr ? value : "";
}

// As the C library looks for it.
bool isUtf8Locale() {
    for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const std::string value = environment(name);
        if (!value.empty()) {
            return value.find("UTF-8") != std::string::npos || value.find("utf8") != std::string::npos;
        }
    }
    return false;
}

size_t columns() {
    const std::optional<int64_t> given = wholeNumber(environment("COLUMNS"));
    return given && *given > 0 ? static_cast<size_t>(*given) : standardOutputColumns();
}

KnownRun lastRun(const std::string& file) {
    std::optional<KnownRun> last;
    const RunInput input = readRuns(file, [&last](KnownRun&& run) { last = std::move(run); });
    if (!last) {
        throw Failure(nothingFoundText(file, input));
    }
    return std::move(*last);
}

int runTimelineCommand(const TimelineCommand& command) {
    OutputFile svg(kSvg, command.svg);
    OutputFile traceEvents(kTraceEvents, command.traceEvents);
    const bool same = svg.asked() && command.svg == command.traceEvents;
    if (same || (svg.takesStandardOutput() && traceEvents.takesStandardOutput())) {
        throw Failure(fmt::format("{} and {} must not go to the same place", kSvg, kTraceEvents), kExitUsage);
    }
    const KnownRun run = lastRun(command.file);
    if (traceEvents.asked()) {
        traceEvents.write(traceEventsJson(run));
    }
    if (svg.asked()) {
        svg.write(svgPicture(pictureOf(run)));
    }
    if (!svg.asked() && !traceEvents.asked()) {
        PictureLimits limits;
        limits.messages = run.messages.size();
        printWhole(textBars(pictureOf(run, limits), {columns(), isUtf8Locale()}));
    }
    return kExitAsAsked;
}

} // namespace

Command addTimelineCommand(CLI::App& app) {
    const auto chosen = std::make_shared<TimelineCommand>();
    TimelineCommand& target = *chosen;
    CLI::App* const timeline =
        app.add_subcommand("timeline", "draw a shutdown: who did what, when, and how long it took");
    timeline
        ->add_option("FILE", target.file,
                     "a host's trace, whose last shutdown counts, or a rehearsal's JSON, - is standard input")
        ->required();
    addOutputOption(*timeline, kSvg, target.svg,
                    "write a picture to FILE in place of the text, - is standard output");
    addOutputOption(*timeline, kTraceEvents, target.traceEvents,
                    "write the JSON that trace viewers open to FILE, - is standard output");
    return {timeline, [chosen] { return runTimelineCommand(*chosen); }, false};
}

} // namespace volad_dev
