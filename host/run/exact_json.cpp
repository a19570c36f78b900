#include "host/run/exact_json.h"

#include <charconv>
#include <cstdint>
#include <system_error>

#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace volad_dev {
namespace {

using rapidjson::SizeType;

// Hands on to a document, but for numbers, which come as they are written.
class ExactNumbers : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ExactNumbers> {
public:
    explicit ExactNumbers(rapidjson::Document& document) : m_document(document) {}

    bool Null() { return m_document.Null(); }
    bool Bool(bool value) { return m_document.Bool(value); }
    bool String(const char* text, SizeType length, bool copy) {
        return m_document.String(text, length, copy);
    }
    bool StartObject() { return m_document.StartObject(); }
    bool Key(const char* text, SizeType length, bool copy) { return m_document.Key(text, length, copy); }
    bool EndObject(SizeType count) { return m_document.EndObject(count); }
    bool StartArray() { return m_document.StartArray(); }
    bool EndArray(SizeType count) { return m_document.EndArray(count); }

    bool RawNumber(const char* text, SizeType length, bool /*copy*/) {
        const std::string_view digits(text, length);
        uint64_t whole = 0;
        int64_t negative = 0;
        if (isAllOf(digits, whole)) {
            return m_document.Uint64(whole);
        }
        if (isAllOf(digits, negative)) {
            return m_document.Int64(negative);
        }
        double real = 0; // stays so for what is nearer to 0 than any double
        return (isAllOf(digits, real) || digits.find('-', 1) != std::string_view::npos ||
                digits.find("0.") <= 1) &&
               m_document.Double(real);
    }

private:
    template <class Number>
    static bool isAllOf(std::string_view digits, Number& number) {
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        return error == std::errc() && end == digits.data() + digits.size();
    }

    rapidjson::Document& m_document;
};

} // namespace

rapidjson::ParseResult parseExactly(std::string_view text, rapidjson::Document& document) {
    rapidjson::MemoryStream bytes(text.data(), text.size());
    rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> stream(bytes);
    rapidjson::ParseResult result;
    auto parse = [&](rapidjson::Document& into) {
        ExactNumbers numbers(into);
        result = rapidjson::Reader()
                     .Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag |
                            rapidjson::kParseNumbersAsStringsFlag>(stream, numbers);
        return !result.IsError();
    };
    document.Populate(parse);
    return result;
}

} // namespace volad_dev
