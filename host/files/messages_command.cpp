#include "host/files/messages_command.h"

#include <charconv>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "catalogue/log_msg_file.h"
#include "host/common/failure.h"
#include "host/common/json_output.h"
#include "host/common/json_writer.h"
#include "host/common/option_checks.h"
#include "host/common/visible_text.h"
#include "host/files/message_entries.h"

namespace volad_dev {
namespace {

struct MessagesCommand {
    int (*run)(const MessagesCommand&, JsonOutput&) = nullptr;
    std::string code;
    std::string field = "Summary";
    std::string language = "en";
    int32_t index = 0;
    std::string file; // to be checked
    std::string json; // file, empty for none
};

// The forms that a code may have in a file, the given one first: the trace shows a code without leading
// zeros, too ("EventCode 0xE0003"), files have six digits or four.
std::vector<std::string> formsOf(const std::string& code) {
    std::vector<std::string> forms = {code};
    uint32_t number = 0;
    const char* const end = code.data() + code.size();
    const bool isHex = code.starts_with("0x") || code.starts_with("0X");
    if (!isHex) {
        return forms;
    }
    const auto [behind, failure] = std::from_chars(code.data() + 2, end, number, 16);
    if (failure == std::errc{} && behind == end) {
        forms.push_back(fmt::format("0x{:06X}", number));
        forms.push_back(fmt::format("0x{:04X}", number));
    }
    return forms;
}

// Leaves the object with the file that the module would take.
void open(em::CLogMsgFile& messages) {
    if (!messages.Open(true)) {
        throw Failure(fmt::format("no message file, tried last: {}", messages.Path()));
    }
}

std::string reasonOf(const em::XmlLoadResult& failed) {
    return fmt::format("not loaded: {}", failed.reason) +
           (failed.offset != 0 ? fmt::format(" (byte {})", failed.offset) : "");
}

void load(em::XmlDocument& document, const std::string& file) {
    const em::XmlLoadResult result = document.loadFile(file.c_str());
    if (!result.loaded()) {
        throw Failure(fmt::format("{}: {}", file, reasonOf(result)));
    }
}

// Ends the document.
int finish(JsonWriter& written, JsonOutput& json) {
    written.endObject();
    if (json.asked()) {
        json.write(written.document());
    }
    return kExitAsAsked;
}

int found(const MessagesCommand& command, const std::string& file, const std::string& code,
          const std::string& text, JsonOutput& json) {
    if (!json.takesStandardOutput()) {
        fmt::print("{}\n", visibleText(text));
    }
    JsonWriter written;
    written.beginDocument();
    written.member("file", file);
    written.member("code", code);
    written.member("field", command.field);
    written.member("lang", command.language);
    written.member("index", command.index);
    written.member("text", text);
    return finish(written, json);
}

int lookUp(const MessagesCommand& command, JsonOutput& json) {
    em::CLogMsgFile messages;
    open(messages);
    for (const std::string& code : formsOf(command.code)) {
        const std::string text =
            messages.LookUp(code.c_str(), command.field.c_str(), command.language.c_str(), command.index);
        if (!text.empty()) {
            return found(command, messages.Path(), code, text, json);
        }
    }
    throw Failure(fmt::format("{}: no {} {} of {} in \"{}\"", messages.Path(), command.field, command.index,
                              command.code, command.language));
}

int list(const MessagesCommand& /*command*/, JsonOutput& json) {
    em::CLogMsgFile messages;
    em::XmlDocument document;
    open(messages);
    load(document, messages.Path());
    JsonWriter written;
    written.beginDocument();
    written.member("file", messages.Path());
    written.beginArray("messages");
    for (const MessageEntry& entry : readMessageEntries(document)) {
        for (const MessageText& text : entry.texts) {
            if (!json.takesStandardOutput()) {
                fmt::print("{}\n", visibleText(fmt::format("{} {} {}", entry.code, text.language,
                                                           text.summary.value_or(""))));
            }
            written.beginObject();
            written.member("code", entry.code);
            written.member("lang", text.language);
            written.member("summary", text.summary);
            written.endObject();
        }
    }
    written.endArray();
    return finish(written, json);
}

int check(const MessagesCommand& command, JsonOutput& json) {
    em::XmlDocument document;
    const em::XmlLoadResult result = document.loadFile(command.file.c_str());
    if (!result.loaded()) {
        return printFindings({{command.file, 0, "not-loaded", reasonOf(result)}}, json);
    }
    const std::vector<MessageEntry> entries = readMessageEntries(document);
    const std::vector<Finding> problems = findProblems(command.file, entries);
    if (problems.empty() && !json.takesStandardOutput()) {
        fmt::print("{}: {} codes, each with a Summary in \"en\"\n", visibleText(command.file),
                   entries.size());
    }
    return printFindings(problems, json);
}

int run(const MessagesCommand& command) {
    JsonOutput json(command.json);
    return command.run(command, json);
}

} // namespace

Command addMessagesCommand(CLI::App& app) {
    const auto chosen = std::make_shared<MessagesCommand>();
    MessagesCommand& target = *chosen;
    CLI::App* messages = app.add_subcommand("messages", "look into the host's message file");

    CLI::App* lookingUp = messages->add_subcommand("lookup", "print a text, as the module finds it");
    lookingUp->parse_complete_callback([&target] { target.run = lookUp; });
    lookingUp->add_option("CODE", target.code, "as the file or the trace has it: 0x0E0001, 0xE0001")
        ->required();
    lookingUp->add_option("--field", target.field, "element that holds the text")->capture_default_str();
    lookingUp->add_option("--lang", target.language, "language")->capture_default_str();
    addNumber(*lookingUp, "--index", target.index, 0, INT32_MAX, "which of several, from 0");

    CLI::App* listing = messages->add_subcommand("list", "list codes, languages and summaries");
    listing->parse_complete_callback([&target] { target.run = list; });

    CLI::App* checking = messages->add_subcommand("check", "check a message file");
    checking->parse_complete_callback([&target] { target.run = check; });
    checking->add_option("FILE", target.file, "the message file")->required();
    for (CLI::App* verb : {lookingUp, listing, checking}) {
        addJsonOption(*verb, target.json);
    }
    return {messages, [chosen] { return run(*chosen); }, false};
}

} // namespace volad_dev
