// The parts that a run of a rehearsal and one that is read from a trace have alike as JSON. A value that may
// be unknown is null.
#pragma once

#include <cmath>
#include <optional>
#include <vector>

#include "host/common/json_writer.h"
#include "host/run/run.h"

namespace volad_dev {

// In whole microseconds: what lies below is no property of the run. Of a time that a double holds no
// microseconds of there is nothing to round, and it might not stay finite.
inline void writeTime(JsonWriter& writer, const char* name, std::optional<double> seconds) {
    constexpr double kMostWithMicroseconds = 9e9;
    if (seconds && std::abs(*seconds) < kMostWithMicroseconds) {
        seconds = std::round(*seconds * 1e6) / 1e6;
    }
    writer.member(name, seconds);
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

template <class Command>
void writeCommand(JsonWriter& writer, const std::optional<Command>& command) {
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

template <class Phase>
void writePhases(JsonWriter& writer, const std::vector<Phase>& phases) {
    writeList(writer, "phases", phases, [&](const Phase& phase) {
        writer.member("name", phase.name);
        writeTime(writer, "start", phase.start);
        writeTime(writer, "seconds", phase.seconds);
    });
}

template <class Message>
void writeMessages(JsonWriter& writer, const std::vector<Message>& messages) {
    writeList(writer, "messages", messages, [&](const Message& message) {
        writeTime(writer, "at", message.at);
        writer.member("direction", message.toModule ? "to-module" : "to-host");
        writer.json("envelope", message.envelope);
    });
}

template <class Status>
void writeStatuses(JsonWriter& writer, const std::vector<Status>& statuses) {
    writeList(writer, "statuses", statuses, [&](const Status& status) {
        writeTime(writer, "at", status.at);
        writer.member("value", status.value);
    });
}

inline void writeLeft(JsonWriter& writer, const std::vector<LeftFile>& files) {
    writeList(writer, "left", files, [&](const LeftFile& left) {
        writer.member("file", left.file);
        writer.member("bytes", left.bytes);
    });
}

inline void writeWarnings(JsonWriter& writer, const std::vector<Warning>& warnings) {
    writeList(writer, "warnings", warnings, [&](const Warning& warning) {
        writer.member("code", warning.code);
        writer.member("text", warning.text);
    });
}

} // namespace volad_dev
