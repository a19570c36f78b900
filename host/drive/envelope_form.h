// An envelope as a script gives it: a JSON text as it stands, or a code with members.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/envelope/sip_json.h"

namespace volad_dev {

// A member of a command with its value, which is JSON.
struct Member {
    std::string_view key; // of contract/envelope.h
    std::string value;
};

struct EnvelopeForm {
    std::optional<std::string> json; // the whole envelope, whatever it is
    uint32_t operationCode = 0;
    std::vector<Member> members;
};

// The key by its own name ("DA") or the one for people ("data", "reason"); empty for none.
[[nodiscard]] std::string_view memberKey(const std::string& name);
// Of that name's people's forms, for a refusal: "data, reason, extension".
[[nodiscard]] std::string memberNames();
// The value as JSON: a number in C's forms as a number, other words as a text.
[[nodiscard]] std::string memberValue(const std::string& word);

// A text as JSON.
[[nodiscard]] std::string jsonText(const std::string& text);

// "CA" is the cabinet unless a member says otherwise; there is no "ST" unless one does.
[[nodiscard]] em::SipJson envelopeOf(const EnvelopeForm& form, uint32_t cabinet);

// Whether the command has these members with these values.
[[nodiscard]] bool hasMembers(const em::SipJson& envelope, const std::vector<Member>& members);
// Whether both are the same JSON.
[[nodiscard]] bool isSameJson(const em::SipJson& envelope, const std::string& json);
// Of a text that came from an envelope.
[[nodiscard]] em::SipJson readEnvelope(const std::string& json);

} // namespace volad_dev
