#include "frame/envelope/sip_json.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/system.h"
#include "frame/json/json_tree.h"

namespace em {

namespace {

// From malloc, since the other side of the interface may free it.
char* copyOf(const char* text) {
    return text != nullptr ? sys::strdup(text) : nullptr;
}

} // namespace

SipJson::SipJson(const SipJson& other)
    : text(copyOf(other.text)), root(json::deepCopy(other.root)), cursor(other.cursor) {}

// The new tree is whole before the old one goes: a copy that throws leaves the envelope as it was.
SipJson& SipJson::operator=(const SipJson& other) {
    if (this == &other) {
        return *this;
    }
    json::replace(root, json::deepCopy(other.root));
    cursor = other.cursor;
    if (other.text != nullptr) {
        std::free(std::exchange(text, copyOf(other.text)));
    }
    return *this;
}

SipJson::~SipJson() {
    json::release(root);
    std::free(text);
}

// Every reader goes through here, so an envelope of any shape reads as one without a command.
const JsonValue* SipJson::FindCommand() const {
    const auto commands = json::elements(json::member(json::member(&root, key::Envelope), key::Commands));
    if (cursor < 0 || static_cast<size_t>(cursor) >= commands.size()) {
        return nullptr;
    }
    const JsonValue& command = commands[static_cast<size_t>(cursor)];
    return json::isObject(&command) ? &command : nullptr;
}

const JsonValue* SipJson::FindMember(std::string_view name) const {
    return json::member(FindCommand(), name);
}

} // namespace em
