#include "host/run/run_json.h"

#include <cmath>

#include "host/common/json_writer.h"

namespace volad_dev {
namespace {

// Times in whole microseconds: what lies below is no property of the run.
void writeTime(JsonWriter& writer, const char* name, double seconds) {
    writer.member(name, std::round(seconds * 1e6) / 1e6);
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

void writeCommand(JsonWriter& writer, const std::optional<CommandRun>& command) {
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

void writeCourse(JsonWriter& writer, const ShutdownRun& run) {
    writeList(writer, "phases", run.phases, [&](const Phase& phase) {
        writer.member("name", phase.name);
        writeTime(writer, "start", phase.start);
        writeTime(writer, "seconds", phase.seconds);
    });
    writeList(writer, "messages", run.messages, [&](const RunMessage& message) {
        writeTime(writer, "at", message.at);
        writer.member("direction", message.toModule ? "to-module" : "to-host");
        writer.json("envelope", message.envelope);
    });
    writeList(writer, "statuses", run.statuses, [&](const RunStatus& status) {
        writeTime(writer, "at", status.at);
        writer.member("value", status.value);
    });
}

void writeRest(JsonWriter& writer, const ShutdownRun& run) {
    writeList(writer, "left", run.left, [&](const LeftFile& left) {
        writer.member("file", left.file);
        writer.member("bytes", left.bytes);
    });
    writeList(writer, "warnings", run.warnings, [&](const Warning& warning) {
        writer.member("code", warning.code);
        writer.member("text", warning.text);
    });
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
    writeCourse(writer, run);
    writeRest(writer, run);
    writer.endObject();
    return writer.document();
}

std::string jobJson(const ShutdownRun& run) {
    JsonWriter writer;
    writer.beginDocument();
    writeJob(writer, run.job);
    writeRest(writer, run);
    writer.endObject();
    return writer.document();
}

} // namespace volad_dev
