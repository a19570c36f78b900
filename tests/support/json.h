// Envelopes from JSON text.
#pragma once

#include <gtest/gtest.h>

#include "frame/envelope/sip_json.h"
#include "frame/json/json_text.h"
#include "frame/json/json_tree.h"

namespace em::test {

// Fails the test when it is no JSON; NaN, Inf and -Inf are taken too.
inline JsonValue jsonOf(std::string_view text) {
    rapidjson::GenericDocument<rapidjson::UTF8<>, JsonAllocator> document;
    document.Parse<rapidjson::kParseNanAndInfFlag | rapidjson::kParseIterativeFlag>(text.data(), text.size());
    EXPECT_FALSE(document.HasParseError()) << text;
    return json::deepCopy(document);
}

// The whole document.
inline SipJson documentOf(std::string_view text) {
    SipJson envelope;
    envelope.root = jsonOf(text);
    return envelope;
}
// {"SIP":{"V":1,"CMD":[command]}}.
inline SipJson commandOf(std::string_view command) {
    return documentOf(R"({"SIP":{"V":1,"CMD":[)" + std::string(command) + "]}}");
}
// A command with that "DA" alone.
inline SipJson dataOf(std::string_view data) {
    return commandOf(R"({"DA":)" + std::string(data) + "}");
}

// The envelope, or its command at the cursor, as compact text.
inline std::string textOf(const SipJson& envelope) {
    return json::compactText(envelope.root);
}
inline std::string commandText(const SipJson& envelope) {
    const JsonValue* const command = envelope.FindCommand();
    return command != nullptr ? json::compactText(*command) : "no command";
}

} // namespace em::test
