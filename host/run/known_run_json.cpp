#include "host/run/known_run_json.h"

#include <functional>

#include "host/common/json_writer.h"
#include "host/run/run_json_parts.h"

namespace volad_dev {
namespace {

void writeAsked(JsonWriter& writer, const KnownRun& run) {
    writer.beginObject("asked");
    writer.member("by", run.by);
    writer.member("operation", run.operation);
    writer.member("reason", run.reason);
    writer.member("reasonText", run.reasonText);
    writer.member("when", run.when);
    writer.endObject();
}

void writeGate(JsonWriter& writer, const KnownRun& run) {
    writer.beginObject("gate");
    writer.member("assumed", run.gateAssumed);
    writer.member("here", run.gateHere);
    writer.member("open", run.gateOpen);
    writer.endObject();
}

void writeJob(JsonWriter& writer, const std::optional<KnownJob>& job) {
    if (!job) {
        writer.member("job", nullptr);
        return;
    }
    writer.beginObject("job");
    writer.member("command", job->command);
    writer.member("directory", job->directory);
    writer.member("limit", job->limit);
    writer.member("started", job->started);
    writer.member("exitCode", job->exitCode);
    writer.member("signal", job->signal);
    writer.member("timedOut", job->end == KnownJob::End::Unknown
                                  ? std::nullopt
                                  : std::optional(job->end == KnownJob::End::TimedOut));
    writeTime(writer, "seconds", job->seconds);
    if (job->output) {
        writer.beginArray("output");
        for (const std::string& line : *job->output) {
            writer.element(line);
        }
        writer.endArray();
    } else {
        writer.member("output", nullptr);
    }
    writer.endObject();
}

// Null where no line could have told.
void writeIf(JsonWriter& writer, bool known, const char* name, const std::function<void()>& write) {
    if (known) {
        write();
    } else {
        writer.member(name, nullptr);
    }
}

void writeCourse(JsonWriter& writer, const KnownRun& run) {
    writePhases(writer, run.phases);
    writeIf(writer, run.shows(known_from::kMessages), "messages",
            [&] { writeMessages(writer, run.messages); });
    writeIf(writer, run.shows(known_from::kStatuses), "statuses",
            [&] { writeStatuses(writer, run.statuses); });
    writeIf(writer, run.left.has_value(), "left", [&] { writeLeft(writer, *run.left); });
    writeIf(writer, run.warnings.has_value(), "warnings", [&] { writeWarnings(writer, *run.warnings); });
}

// Of what is null otherwise when there was none.
void writeUnknown(JsonWriter& writer, const KnownRun& run) {
    writer.beginArray("unknown");
    if (!run.tellsOfJob()) {
        writer.element("job");
    }
    if (!run.tellsOfCommand()) {
        writer.element("command");
    }
    writer.endArray();
}

void writeRun(JsonWriter& writer, const KnownRun& run) {
    writer.member("end", nameOf(run.end).code);
    writer.member("cause", run.cause == RunCause::None ? std::nullopt : std::optional(rowOf(run.cause).code));
    writer.member("asAsked", run.asAsked);
    writer.member("level", run.level);
    writeAsked(writer, run);
    writeGate(writer, run);
    writer.member("delay", run.delay);
    writeJob(writer, run.job);
    writeCommand(writer, run.command);
    writeUnknown(writer, run);
    writeCourse(writer, run);
}

} // namespace

std::string knownRunsJson(const std::vector<KnownRun>& runs) {
    JsonWriter writer;
    writer.beginDocument();
    writeList(writer, "runs", runs, [&writer](const KnownRun& run) { writeRun(writer, run); });
    writer.endObject();
    return writer.document();
}

} // namespace volad_dev
