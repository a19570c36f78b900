#include "host/run/run_json.h"

#include "host/common/json_writer.h"
#include "host/run/run_json_parts.h"

namespace volad_dev {
namespace {

void writeAsked(JsonWriter& writer, const Asked& asked) {
    writer.beginObject("asked");
    writer.member("by", asked.by);
    writer.member("operation", asked.operation);
    writer.member("reason", asked.reason);
    writer.member("reasonText", asked.reasonText);
    writer.endObject();
}

void writeGate(JsonWriter& writer, const Gate& gate) {
    writer.beginObject("gate");
    writer.member("assumed", gate.assumed);
    writer.member("here", gate.here);
    writer.endObject();
}

// Always there, null without one, so that a reader needs no second question; the command likewise.
void writeJob(JsonWriter& writer, const std::optional<JobRun>& job) {
    if (!job) {
        writer.member("job", nullptr);
        return;
    }
    writer.beginObject("job");
    writer.member("command", job->command);
    writer.member("directory", job->directory);
    writer.member("started", job->started);
    writer.member("exitCode", job->exitCode);
    writer.member("signal", job->signal);
    writer.member("timedOut", job->timedOut);
    writeTime(writer, "seconds", job->seconds);
    writer.beginArray("output");
    for (const std::string& line : job->output) {
        writer.element(line);
    }
    writer.endArray();
    writer.endObject();
}

} // namespace

std::string runJson(const ShutdownRun& run) {
    JsonWriter writer;
    writer.beginDocument();
    writer.member("end", nameOf(run.end).code);
    writer.member("asAsked", run.asAsked);
    writeAsked(writer, run.asked);
    writeGate(writer, run.gate);
    writeJob(writer, run.job);
    writeCommand(writer, run.command);
    writePhases(writer, run.phases);
    writeMessages(writer, run.messages);
    writeStatuses(writer, run.statuses);
    writeLeft(writer, run.left);
    writeWarnings(writer, run.warnings);
    writer.endObject();
    return writer.document();
}

std::string jobJson(const ShutdownRun& run) {
    JsonWriter writer;
    writer.beginDocument();
    writeJob(writer, run.job);
    writeLeft(writer, run.left);
    writeWarnings(writer, run.warnings);
    writer.endObject();
    return writer.document();
}

} // namespace volad_dev
