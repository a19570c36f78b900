// The codes and texts of a message file, all at once, for lists and checks.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/files/findings.h"
#include "markup/xml_document.h"

namespace volad_dev {

struct MessageText {
    std::string language;
    std::optional<std::string> summary; // the first one; none where the element is missing
};

struct MessageEntry {
    std::string code; // empty where the element has none
    std::vector<MessageText> texts;
};

// In document order; nothing when the document is no message file.
std::vector<MessageEntry> readMessageEntries(const em::XmlDocument& document);

// What is wrong with them in a file: codes that stand more than once (only the first is ever found) and codes
// without a summary in "en".
std::vector<Finding> findProblems(const std::string& file, const std::vector<MessageEntry>& entries);

} // namespace volad_dev
