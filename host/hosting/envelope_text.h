// An envelope's document as JSON text.
#pragma once

#include <string>

namespace em {
struct SipJson;
}

namespace volad_dev {

// In one line; bytes that are no UTF-8 are made visible (utf8Text).
[[nodiscard]] std::string envelopeText(const em::SipJson& envelope);

} // namespace volad_dev
