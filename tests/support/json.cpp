#include "support/json.h"

#include <gtest/gtest.h>

#include "frame/json/json_text.h"
#include "frame/json/json_tree.h"

namespace em::test {

JsonValue jsonOf(std::string_view text) {
    rapidjson::GenericDocument<rapidjson::UTF8<>, JsonAllocator> document;
    document.Parse<rapidjson::kParseNanAndInfFlag | rapidjson::kParseIterativeFlag>(text.data(), text.size());
    EXPECT_FALSE(document.HasParseError()) << text;
    return json::deepCopy(document);
}

SipJson documentOf(std::string_view text) {
    SipJson envelope;
    envelope.root = jsonOf(text);
    return envelope;
}

SipJson commandOf(std::string_view command) {
    return documentOf(R"({"SIP":{"V":1,"CMD":[)" + std::string(command) + "]}}");
}

SipJson dataOf(std::string_view data) {
    return commandOf(R"({"DA":)" + std::string(data) + "}");
}

std::string textOf(const SipJson& envelope) {
    return json::compactText(envelope.root);
}

std::string commandText(const SipJson& envelope) {
    const JsonValue* const command = envelope.FindCommand();
    return command != nullptr ? json::compactText(*command) : "no command";
}

} // namespace em::test
