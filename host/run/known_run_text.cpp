#include "host/run/known_run_text.h"

#include <vector>

#include <fmt/format.h>

#include "contract/reasons.h"

namespace volad_dev {
namespace {

std::string reasonWords(const KnownRun& run) {
    if (!run.reason) {
        return run.reasonText ? "reason: " + *run.reasonText : "";
    }
    return fmt::format("reason {}: {}", *run.reason,
                       run.reasonText ? *run.reasonText : em::lookUpReason(*run.reason).text);
}

} // namespace

std::string askedWords(const KnownRun& run) {
    std::vector<std::string> parts = {run.operation.value_or("a shutdown")};
    if (run.by) {
        parts[0] += " by " + (run.by == "power-switch" ? "power switch" : *run.by);
    }
    const std::string when = !run.when ? "" : (run.beginCut ? "first seen at " : "at ") + *run.when;
    for (const std::string& part : {reasonWords(run), when}) {
        if (!part.empty()) {
            parts.push_back(part);
        }
    }
    return fmt::format("{}", fmt::join(parts, ", "));
}

std::string endWords(const KnownRun& run) {
    std::string text(run.cause == RunCause::None ? nameOf(run.end).text : rowOf(run.cause).happened);
    if (!run.causeDetail.empty()) {
        text += ": " + run.causeDetail;
    } else if (run.end == RunEnd::Unfinished && !run.phases.empty()) {
        text += fmt::format("; it is in its phase \"{}\" then", run.phases.back().name);
    }
    return run.asAsked == false ? text + ", which is not what was asked" : text;
}

std::string noCommandWords(const KnownRun& run) {
    return run.tellsOfCommand() ? "none was started" : "none seen: what came of it is not in this trace";
}

std::string jobEndWords(const KnownJob& job) {
    switch (job.end) {
    case KnownJob::End::Unknown:
        return "what became of it is not known";
    case KnownJob::End::TimedOut:
        return "still running at its limit, and left alone";
    case KnownJob::End::NotWaited:
        return "not waited for";
    case KnownJob::End::Failed:
        return fmt::format("failed, error {}", job.error.value_or(0));
    case KnownJob::End::Ended:
        break;
    }
    return job.signal     ? fmt::format("ended by signal {}", *job.signal)
           : job.exitCode ? fmt::format("ended with exit code {}", *job.exitCode)
                          : "ended";
}

} // namespace volad_dev
