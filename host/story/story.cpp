#include "host/story/story.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "host/common/visible_text.h"
#include "host/run/known_run_text.h"

namespace volad_dev {
namespace {

// Rows of what is known; an empty text is no row.
class Rows {
public:
    void add(std::string_view name, const std::string& text) {
        if (!text.empty() && m_count < kLongestStory) {
            m_text += fmt::format("{:<9}{}\n", name, visibleText(text));
            ++m_count;
        }
    }
    [[nodiscard]] const std::string& text() const { return m_text; }

private:
    std::string m_text;
    size_t m_count = 0;
};

std::string joined(const std::vector<std::string>& parts, std::string_view separator = ", ") {
    return fmt::format("{}", fmt::join(parts, separator));
}

std::string secondsText(const std::optional<double>& seconds) {
    return seconds ? fmt::format("{:.2f} s", *seconds) : "";
}

std::string adviceWords(const KnownRun& run) {
    if (run.end == RunEnd::Unfinished) {
        return "see a trace that goes on longer";
    }
    std::string advice(rowOf(run.cause).advice);
    if (run.byReplyOnly) {
        advice += fmt::format("; a {} comes by a reply only", run.operation.value_or("shutdown"));
    }
    return run.cause == RunCause::CommandStarted ? "if the system did not go down, " + advice : advice;
}

std::string delayWords(const KnownRun& run) {
    std::vector<std::string> parts;
    if (run.delay) {
        parts.push_back(fmt::format("{} s", *run.delay));
    }
    if (run.cancelled && run.tellsHowLate()) {
        parts.push_back(fmt::format("a cancel came after {:.2f} s", *run.cancelled));
    }
    return joined(parts);
}

std::string tookWords(const KnownRun& run) {
    std::vector<std::string> parts;
    for (const KnownPhase& phase : run.phases) {
        if (phase.seconds) {
            parts.push_back(phase.name + ' ' + secondsText(phase.seconds));
        }
    }
    const bool timed = run.when || std::ranges::any_of(run.phases, [](const KnownPhase& phase) {
                           return phase.start.has_value();
                       });
    return !parts.empty() || run.phases.empty() || timed
               ? joined(parts)
               : "not known: the lines have no times that can be read";
}

std::string jobWords(const KnownRun& run) {
    if (!run.job) {
        return run.hasJob == true ? "one was run, its lines were cut off" : run.hasJob == false ? "none" : "";
    }
    std::vector<std::string> parts = {run.job->command};
    if (run.job->directory && !run.job->directory->empty()) {
        parts.push_back("in " + *run.job->directory);
    }
    if (run.job->limit) {
        parts.push_back(fmt::format("limit {} s", *run.job->limit));
    }
    const std::string seconds = secondsText(run.job->seconds);
    return joined(parts) + ": " + jobEndWords(*run.job) + (seconds.empty() ? "" : " after " + seconds);
}

std::string commandWords(const KnownRun& run) {
    if (!run.command) {
        return noCommandWords(run);
    }
    const std::string seconds = run.tellsHowLate() ? secondsText(run.command->seconds) : "";
    return run.command->line + (seconds.empty() ? "" : ", after " + seconds);
}

// What is not known, by the level that would tell; of a trace at that level the lines are missing.
std::string unknownWords(const KnownRun& run) {
    const bool waits = run.cause == RunCause::NeverATask || (run.end == RunEnd::Unfinished && !run.gateOpen);
    struct Unknown {
        bool is;
        unsigned level;
        const char* what;
    };
    const std::array<Unknown, 7> unknowns = {{
        {!run.by, known_from::kRequest, "who asked"},
        {!run.operation, known_from::kRequest, "for what"},
        {!run.reason && run.cause != RunCause::NeverATask, known_from::kSettings, "the reason's number"},
        {!run.delay && run.gateOpen == true, known_from::kSettings, "the delay"},
        {run.job && !run.job->limit, known_from::kSettings, "the job's limit"},
        {!run.tellsOfJob() && !run.hasJob && run.end != RunEnd::Unfinished, 0, "whether there was a job"},
        {waits && run.causeDetail.empty() && !run.shows(known_from::kQueue), known_from::kQueue,
         "what the queue made of it"},
    }};
    std::map<unsigned, std::vector<std::string>> byLevel; // 0: missing at this level
    for (const Unknown& unknown : unknowns) {
        if (unknown.is) {
            byLevel[run.shows(unknown.level) ? 0 : unknown.level].emplace_back(unknown.what);
        }
    }
    std::vector<std::string> parts;
    parts.reserve(byLevel.size());
    for (const auto& [level, names] : byLevel) {
        parts.push_back(joined(names) + (level == 0 ? " (the lines are not in this trace)"
                                                    : fmt::format(" (level {} would tell)", level)));
    }
    return joined(parts, "; ");
}

} // namespace

std::string storyOf(const KnownRun& run) {
    Rows rows;
    rows.add("asked", askedWords(run));
    rows.add("end", endWords(run));
    rows.add("do", adviceWords(run));
    if (run.earlierCommand) {
        rows.add("earlier",
                 fmt::format("another shutdown had its command started, {}: see --all", *run.earlierCommand));
    }
    rows.add("delay", delayWords(run));
    rows.add("took", tookWords(run));
    rows.add("job", jobWords(run));
    rows.add("command", commandWords(run));
    if (run.level) {
        rows.add("level", fmt::format("{}, as it seems", *run.level));
        rows.add("unknown", unknownWords(run));
    }
    if (run.warnings) {
        for (const Warning& warning : *run.warnings) {
            rows.add("warning", warning.text);
        }
    }
    return rows.text();
}

} // namespace volad_dev
