#include "host/rehearsal/verdict_output.h"

#include <fmt/format.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void writeText(Writer& writer, const char* key, const std::string& text) {
    writer.Key(key);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void writeNumber(Writer& writer, const char* key, double number) {
    writer.Key(key);
    writer.Double(number);
}

void writeCommand(Writer& writer, const Verdict& verdict) {
    writer.Key("command");
    if (!verdict.command) {
        writer.Null();
        return;
    }
    writer.StartObject();
    writeText(writer, "line", verdict.command->commandLine());
    writeNumber(writer, "seconds", verdict.command->monotonic - verdict.requestTime);
    writeNumber(writer, "time", verdict.command->time);
    writeText(writer, "directory", verdict.command->directory);
    writer.EndObject();
}

std::string joined(const std::vector<Phase>& phases) {
    std::string text;
    for (const Phase& phase : phases) {
        text += fmt::format("{}{} {:.2f} s", text.empty() ? "" : ", ", phase.name, phase.seconds);
    }
    return text.empty() ? "none" : text;
}

std::string joined(const std::vector<LeftFile>& files) {
    std::string text;
    for (const LeftFile& file : files) {
        text += fmt::format("{}{}/{} ({} bytes)", text.empty() ? "" : ", ", layout::kScratch, file.name,
                            file.bytes);
    }
    return text.empty() ? "nothing" : text;
}

} // namespace

std::string verdictText(const Verdict& verdict) {
    std::string text = fmt::format("Verdict: {}{}\n", textOf(verdict.end),
                                   verdict.asAsked ? ", as asked" : ", which is not what was asked");
    text +=
        fmt::format("  asked by   {}, reason {}: {}\n", verdict.askedBy, verdict.reason, verdict.reasonName);
    if (verdict.command) {
        text += fmt::format("  command    {}, {:.2f} s after the request, in \"{}\"\n",
                            verdict.command->commandLine(), verdict.command->monotonic - verdict.requestTime,
                            verdict.command->directory);
    } else {
        text += "  command    none\n";
    }
    text += fmt::format("  phases     {}\n", joined(verdict.phases));
    text += fmt::format("  job left   {}\n", joined(verdict.left));
    return text;
}

// "command" is always there, null without one, so that a reader needs no second question.
std::string verdictJson(const Verdict& verdict) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writeText(writer, "end", textOf(verdict.end));
    writer.Key("asAsked");
    writer.Bool(verdict.asAsked);
    writeText(writer, "askedBy", verdict.askedBy);
    writer.Key("reason");
    writer.Uint(verdict.reason);
    writeText(writer, "reasonName", verdict.reasonName);
    writeCommand(writer, verdict);
    writer.Key("phases");
    writer.StartArray();
    for (const Phase& phase : verdict.phases) {
        writer.StartObject();
        writeText(writer, "name", phase.name);
        writeNumber(writer, "seconds", phase.seconds);
        writer.EndObject();
    }
    writer.EndArray();
    writer.Key("left");
    writer.StartArray();
    for (const LeftFile& file : verdict.left) {
        writer.StartObject();
        writeText(writer, "file", file.name);
        writer.Key("bytes");
        writer.Uint64(file.bytes);
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

} // namespace volad_dev
