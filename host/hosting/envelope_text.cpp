#include "host/hosting/envelope_text.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "frame/envelope/sip_json.h"
#include "host/common/visible_text.h"

namespace volad_dev {
namespace {

using Base = rapidjson::Writer<rapidjson::StringBuffer>;

// Whatever a text of the envelope holds, what comes out is JSON.
class ValidWriter : public Base {
public:
    using Base::Base;
    bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) {
        const std::string valid = utf8Text({text, length});
        return Base::String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
    }
    bool Key(const char* text, rapidjson::SizeType length, bool copy) { return String(text, length, copy); }
};

} // namespace

std::string envelopeText(const em::SipJson& envelope) {
    rapidjson::StringBuffer buffer;
    ValidWriter writer(buffer);
    envelope.root.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

} // namespace volad_dev
