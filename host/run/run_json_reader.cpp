#include <concepts>
#include <utility>

#include <fmt/format.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "host/common/json_writer.h"
#include "host/run/exact_json.h"
#include "host/run/run_json.h"

namespace volad_dev {
namespace {

using Json = rapidjson::Value;

// Readers of one member: the default where it is missing or of another type.
const Json* find(const Json& object, const char* key) {
    const auto member = object.FindMember(key);
    return member == object.MemberEnd() ? nullptr : &member->value;
}
std::string textAt(const Json& object, const char* key) {
    const Json* const value = find(object, key);
    return value != nullptr && value->IsString() ? std::string(value->GetString(), value->GetStringLength())
                                                 : std::string();
}
double numberAt(const Json& object, const char* key) {
    const Json* const value = find(object, key);
    return value != nullptr && value->IsNumber() ? value->GetDouble() : 0;
}
// 0 where it does not fit.
template <std::unsigned_integral Number>
Number wholeAt(const Json& object, const char* key) {
    const Json* const value = find(object, key);
    return value != nullptr && value->IsUint64() && std::in_range<Number>(value->GetUint64())
               ? static_cast<Number>(value->GetUint64())
               : 0;
}
std::optional<bool> knownBoolAt(const Json& object, const char* key) {
    const Json* const value = find(object, key);
    return value != nullptr && value->IsBool() ? std::optional(value->GetBool()) : std::nullopt;
}

bool boolAt(const Json& object, const char* key) {
    const Json* const value = find(object, key);
    return value != nullptr && value->IsBool() && value->GetBool();
}
std::optional<int> intAt(const Json& object, const char* key) {
    const Json* const value = find(object, key);
    return value != nullptr && value->IsInt() ? std::optional(value->GetInt()) : std::nullopt;
}
const Json* objectAt(const Json& object, const char* key) {
    const Json* const value = find(object, key);
    return value != nullptr && value->IsObject() ? value : nullptr;
}

template <class Element, class Read>
std::vector<Element> listAt(const Json& object, const char* key, Read read) {
    std::vector<Element> elements;
    const Json* const list = find(object, key);
    if (list != nullptr && list->IsArray()) {
        for (const Json& element : list->GetArray()) {
            if (element.IsObject()) {
                elements.push_back(read(element));
            }
        }
    }
    return elements;
}

// Values that are nested deeper would be written by as deep a recursion; an envelope has a handful.
constexpr int kDeepestNesting = 100;

// Of valid JSON.
bool isNestedTooDeep(std::string_view text) {
    int depth = 0;
    bool inText = false;
    for (size_t i = 0; i < text.size() && depth <= kDeepestNesting; ++i) {
        if (text[i] == '"') {
            inText = !inText;
        } else if (inText) {
            i += text[i] == '\\' ? 1 : 0; // and what it escapes
        } else {
            depth += text[i] == '[' || text[i] == '{' ? 1 : text[i] == ']' || text[i] == '}' ? -1 : 0;
        }
    }
    return depth > kDeepestNesting;
}

std::string textOf(const Json& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

std::optional<JobRun> readJob(const Json& run) {
    const Json* const object = objectAt(run, "job");
    if (object == nullptr) {
        return std::nullopt;
    }
    JobRun job;
    job.command = textAt(*object, "command");
    job.directory = textAt(*object, "directory");
    job.started = knownBoolAt(*object, "started");
    job.exitCode = intAt(*object, "exitCode");
    job.signal = intAt(*object, "signal");
    job.timedOut = boolAt(*object, "timedOut");
    job.seconds = numberAt(*object, "seconds");
    if (const Json* const output = find(*object, "output"); output != nullptr && output->IsArray()) {
        for (const Json& line : output->GetArray()) {
            job.output.push_back(line.IsString() ? std::string(line.GetString(), line.GetStringLength())
                                                 : "");
        }
    }
    return job;
}

void readParts(const Json& object, ShutdownRun& run) {
    if (const Json* const asked = objectAt(object, "asked")) {
        run.asked = {textAt(*asked, "by"), textAt(*asked, "operation"), wholeAt<uint8_t>(*asked, "reason"),
                     textAt(*asked, "reasonText")};
    }
    if (const Json* const gate = objectAt(object, "gate")) {
        run.gate = {textAt(*gate, "assumed"), textAt(*gate, "here")};
    }
    if (const Json* const command = objectAt(object, "command")) {
        run.command = CommandRun{textAt(*command, "line"), numberAt(*command, "seconds"),
                                 textAt(*command, "directory")};
    }
    run.job = readJob(object);
}

void readLists(const Json& object, ShutdownRun& run) {
    run.phases = listAt<Phase>(object, "phases", [](const Json& phase) {
        return Phase{textAt(phase, "name"), numberAt(phase, "start"), numberAt(phase, "seconds")};
    });
    run.messages = listAt<RunMessage>(object, "messages", [](const Json& message) {
        const Json* const envelope = objectAt(message, "envelope");
        return RunMessage{numberAt(message, "at"), textAt(message, "direction") == "to-module",
                          envelope != nullptr ? textOf(*envelope) : "{}"};
    });
    run.statuses = listAt<RunStatus>(object, "statuses", [](const Json& status) {
        return RunStatus{numberAt(status, "at"), wholeAt<uint8_t>(status, "value")};
    });
    run.left = listAt<LeftFile>(object, "left", [](const Json& left) {
        return LeftFile{textAt(left, "file"), wholeAt<uint64_t>(left, "bytes")};
    });
    run.warnings = listAt<Warning>(object, "warnings", [](const Json& warning) {
        return Warning{textAt(warning, "code"), textAt(warning, "text")};
    });
}

} // namespace

std::string whyNoRunJson(std::string_view text) {
    rapidjson::Document document;
    const rapidjson::ParseResult parsed = parseExactly(text, document);
    if (parsed.IsError()) {
        return fmt::format("as JSON it is cut or malformed, at byte {}", parsed.Offset());
    }
    if (isNestedTooDeep(text)) {
        return fmt::format("its JSON is nested deeper than {} levels", kDeepestNesting);
    }
    if (document.IsObject() && find(document, "runs") != nullptr) {
        return "it is what \"explain --json\" writes, and the trace itself is asked for";
    }
    return document.IsObject() && numberAt(document, "schema") != JsonWriter::kSchema
               ? fmt::format("its JSON is not of \"schema\" {}", JsonWriter::kSchema)
               : "its JSON is not the run of a rehearsal";
}

std::optional<ShutdownRun> readRunJson(std::string_view text) {
    rapidjson::Document document;
    if (parseExactly(text, document).IsError() || isNestedTooDeep(text) || !document.IsObject() ||
        numberAt(document, "schema") != JsonWriter::kSchema) {
        return std::nullopt;
    }
    ShutdownRun run;
    run.end = findRunEnd(textAt(document, "end")).value_or(RunEnd::Interrupted);
    run.asAsked = boolAt(document, "asAsked");
    readParts(document, run);
    readLists(document, run);
    return run;
}

} // namespace volad_dev
