#include "host/files/message_entries.h"

#include <algorithm>
#include <set>

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

std::vector<Finding> findProblems(const std::string& file, const std::vector<MessageEntry>& entries) {
    FileFindings problems;
    const auto add = [&](const char* code, const std::string& text) { problems.add({file, 0, code, text}); };
    std::set<std::string> known;
    for (const MessageEntry& entry : entries) {
        if (entry.code.empty()) {
            add("no-code", "an event without a code");
        } else if (!known.insert(lowerCase(entry.code)).second) {
            add("code-twice", entry.code + " stands more than once");
        } else if (!hasEnglishSummary(entry)) {
            add("no-english-summary", entry.code + " has no Summary in \"en\"");
        }
    }
    if (entries.empty()) {
        add("no-events", "it holds no events");
    }
    return problems.take();
}

} // namespace volad_dev
