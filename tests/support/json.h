// Envelopes from JSON text.
#pragma once

#include <string>
#include <string_view>

#include "frame/envelope/sip_json.h"

namespace em::test {

// Fails the test when it is no JSON; NaN, Inf and -Inf are taken too.
JsonValue jsonOf(std::string_view text);

// The whole document.
SipJson documentOf(std::string_view text);
// {"SIP":{"V":1,"CMD":[command]}}.
SipJson commandOf(std::string_view command);
// A command with that "DA" alone.
SipJson dataOf(std::string_view data);

// The envelope, or its command at the cursor, as compact text.
std::string textOf(const SipJson& envelope);
std::string commandText(const SipJson& envelope);

} // namespace em::test
