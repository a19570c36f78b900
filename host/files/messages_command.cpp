#include "host/files/messages_command.h"

#include <charconv>
#include <cstdint>
#include <vector>

#include <fmt/format.h>

#include "catalogue/log_msg_file.h"
#include "host/common/exit_code.h"
#include "host/common/visible_text.h"
#include "host/files/message_entries.h"

namespace volad_dev {
namespace {

// One line, whatever the names in it hold.
int fail(const std::string& line) {
    fmt::print(stderr, "volad-dev: {}\n", visibleText(line));
    return kExitOtherwise;
}

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

int lookUp(const MessagesCommand& command) {
    em::CLogMsgFile messages;
    if (!messages.Open(true)) {
        return fail(fmt::format("no message file, tried last: {}", messages.Path()));
    }
    for (const std::string& code : formsOf(command.code)) {
        const std::string text =
            messages.LookUp(code.c_str(), command.field.c_str(), command.language.c_str(), command.index);
        if (!text.empty()) {
            fmt::print("{}\n", text);
            return kExitAsAsked;
        }
    }
    return fail(fmt::format("{}: no {} {} of {} in \"{}\"", messages.Path(), command.field, command.index,
                            command.code, command.language));
}

// False, with a line, when it was not loaded.
bool load(em::XmlDocument& document, const std::string& file) {
    const em::XmlLoadResult result = document.LoadFile(file.c_str());
    if (!result.loaded()) {
        static_cast<void>(
            fail(fmt::format("{}: not loaded: {} (byte {})", file, result.reason, result.offset)));
    }
    return result.loaded();
}

int list() {
    em::CLogMsgFile messages;
    em::XmlDocument document;
    if (!messages.Open(true)) {
        return fail(fmt::format("no message file, tried last: {}", messages.Path()));
    }
    if (!load(document, messages.Path())) {
        return kExitOtherwise;
    }
    for (const MessageEntry& entry : readMessageEntries(document)) {
        for (const MessageText& text : entry.texts) {
            fmt::print("{} {} {}\n", entry.code, text.language, text.summary.value_or(""));
        }
    }
    return kExitAsAsked;
}

int check(const std::string& file) {
    em::XmlDocument document;
    if (!load(document, file)) {
        return kExitOtherwise;
    }
    const std::vector<MessageEntry> entries = readMessageEntries(document);
    const std::vector<std::string> problems = findProblems(entries);
    for (const std::string& problem : problems) {
        static_cast<void>(fail(fmt::format("{}: {}", file, problem)));
    }
    if (!problems.empty()) {
        return kExitOtherwise;
    }
    fmt::print("{}: {} codes, each with a Summary in \"en\"\n", file, entries.size());
    return kExitAsAsked;
}

} // namespace

CLI::App* addMessagesCommand(CLI::App& app, MessagesCommand& target) {
    using Action = MessagesCommand::Action;
    CLI::App* messages = app.add_subcommand("messages", "look into the host's message file");
    messages->require_subcommand(1);

    CLI::App* lookingUp = messages->add_subcommand("lookup", "print a text, as the module finds it");
    lookingUp->parse_complete_callback([&target] { target.action = Action::LookUp; });
    lookingUp->add_option("CODE", target.code, "as the file or the trace has it: 0x0E0001, 0xE0001")
        ->required();
    lookingUp->add_option("--field", target.field, "element that holds the text")->capture_default_str();
    lookingUp->add_option("--lang", target.language, "language")->capture_default_str();
    lookingUp->add_option("--index", target.index, "which of several, from 0")->capture_default_str();

    CLI::App* listing = messages->add_subcommand("list", "list codes, languages and summaries");
    listing->parse_complete_callback([&target] { target.action = Action::List; });

    CLI::App* checking = messages->add_subcommand("check", "check a message file");
    checking->parse_complete_callback([&target] { target.action = Action::Check; });
    checking->add_option("FILE", target.file)->required();
    return messages;
}

int runMessagesCommand(const MessagesCommand& command) {
    switch (command.action) {
    case MessagesCommand::Action::LookUp:
        return lookUp(command);
    case MessagesCommand::Action::List:
        return list();
    case MessagesCommand::Action::Check:
        return check(command.file);
    }
    return kExitUsage;
}

} // namespace volad_dev
