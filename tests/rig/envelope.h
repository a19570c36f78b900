// The message envelope as the interface lays it out, written down once more: the product's own headers are
// not asked here.
#pragma once

#include <cstdint>
#include <string>

#include <rapidjson/document.h>

namespace em::test {

using Json = rapidjson::GenericValue<rapidjson::UTF8<>, rapidjson::CrtAllocator>;

struct Envelope {
    char* text = nullptr;
    Json root;
    int32_t cursor = 0;

    // From JSON text; an empty text leaves the root null.
    explicit Envelope(const std::string& json, int32_t cursorAt = 0);
    ~Envelope();
};
static_assert(sizeof(Envelope) == 32);

std::string textOf(const Envelope& envelope);
// The command at the cursor, or null when there is none.
Json* commandOf(Envelope& envelope);
uint32_t numberOf(const Json* command, const char* key, uint32_t otherwise);
// Sets or appends the member; its value is JSON text.
void setMember(Json& command, const char* key, const std::string& json);

// {"SIP":{"V":1,"CMD":[<command>]}}
std::string withCommand(const std::string& command);

} // namespace em::test
