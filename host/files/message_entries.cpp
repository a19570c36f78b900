#include "host/files/message_entries.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>

#include "base/ascii.h"
#include "markup/xml_cursor.h"

namespace volad_dev {
namespace {

std::string attributeOr(const em::XmlCursor& cursor, const char* name) {
    const char* const value = cursor.attribute(name);
    return value != nullptr ? value : "";
}

MessageText readText(em::XmlCursor messages) {
    MessageText text{attributeOr(messages, "lang"), {}};
    if (messages.goIn() && messages.findNext("Summary")) {
        text.summary = messages.characterData();
    }
    return text;
}

MessageEntry readEntry(em::XmlCursor event) {
    MessageEntry entry{attributeOr(event, "ErrorCode"), {}};
    if (event.goIn()) {
        while (event.findNext("Messages")) {
            entry.texts.push_back(readText(event));
        }
    }
    return entry;
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), em::asciiLower);
    return text;
}

// The look-up takes the first element of the language and no later one.
bool hasEnglishSummary(const MessageEntry& entry) {
    const auto english = std::find_if(entry.texts.begin(), entry.texts.end(), [](const MessageText& text) {
        return em::equalsIgnoringAsciiCase(text.language.c_str(), "en");
    });
    return english != entry.texts.end() && english->summary && !english->summary->empty();
}

} // namespace

std::vector<MessageEntry> readMessageEntries(const em::XmlDocument& document) {
    std::vector<MessageEntry> entries;
    em::XmlCursor cursor(document);
    if (cursor.findNext("EventMsg") && cursor.goIn() && cursor.findNext("Events") && cursor.goIn()) {
        while (cursor.findNext("Event")) {
            entries.push_back(readEntry(cursor));
        }
    }
    return entries;
}

std::vector<std::string> findProblems(const std::vector<MessageEntry>& entries) {
    std::vector<std::string> problems;
    std::set<std::string> known;
    for (const MessageEntry& entry : entries) {
        if (entry.code.empty()) {
            problems.emplace_back("an event without a code");
            continue;
        }
        if (!known.insert(lowerCase(entry.code)).second) {
            problems.push_back(fmt::format("{} stands more than once", entry.code));
        } else if (!hasEnglishSummary(entry)) {
            problems.push_back(fmt::format("{} has no Summary in \"en\"", entry.code));
        }
    }
    if (entries.empty()) {
        problems.emplace_back("it holds no events");
    }
    return problems;
}

} // namespace volad_dev
