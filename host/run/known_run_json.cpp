#include "host/run/known_run_json.h"

#include <cmath>
#include <string_view>

#include "host/common/json_writer.h"

namespace volad_dev {
namespace {

// Times in whole microseconds: what lies below is no property of the run.
void writeTime(JsonWriter& writer, const char* name, std::optional<double> seconds) {
    writer.member(name, seconds ? std::optional(std::round(*seconds * 1e6) / 1e6) : std::nullopt);
}

template <class Element, class Write>
void writeList(JsonWriter& writer, const char* name, const std::vector<Element>& elements, Write write) {
    writer.beginArray(name);
    for (const Element& element : elements) {
        writer.beginObject();
        write(element);
        writer.endObject();
    }
    writer.endArray();
}

// Null where no line could have told.
template <class Element, class Write>
void writeListIf(JsonWriter& writer, bool known, const char* name, const std::vector<Element>& elements,
                 Write write) {
    if (known) {
        writeList(writer, name, elements, write);
    } else {
        writer.member(name, nullptr);
    }
}

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

void writeCommand(JsonWriter& writer, const std::optional<KnownCommand>& command) {
    if (!command) {
        writer.member("command", nullptr);
        return;
    }
    writer.beginObject("command");
    writer.member("line", command->line);
    writeTime(writer, "seconds", command->seconds);
    writer.member("directory", command->directory);
    writer.endObject();
}

void writeCourse(JsonWriter& writer, const KnownRun& run) {
    writeList(writer, "phases", run.phases, [&](const KnownPhase& phase) {
        writer.member("name", phase.name);
        writeTime(writer, "start", phase.start);
        writeTime(writer, "seconds", phase.seconds);
    });
    writeListIf(writer, run.shows(known_from::kMessages), "messages", run.messages,
                [&](const KnownMessage& message) {
                    writeTime(writer, "at", message.at);
                    writer.member("direction", message.toModule ? "to-module" : "to-host");
                    writer.json("envelope", message.envelope);
                });
    writeListIf(writer, run.shows(known_from::kStatuses), "statuses", run.statuses,
                [&](const KnownStatus& status) {
                    writeTime(writer, "at", status.at);
                    writer.member("value", status.value);
                });
}

void writeRest(JsonWriter& writer, const KnownRun& run) {
    writeListIf(writer, run.left.has_value(), "left", run.left.value_or(std::vector<LeftFile>()),
                [&](const LeftFile& left) {
                    writer.member("file", left.file);
                    writer.member("bytes", left.bytes);
                });
    writeListIf(writer, run.warnings.has_value(), "warnings", run.warnings.value_or(std::vector<Warning>()),
                [&](const Warning& warning) {
                    writer.member("code", warning.code);
                    writer.member("text", warning.text);
                });
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
    writeCourse(writer, run);
    writeRest(writer, run);
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
