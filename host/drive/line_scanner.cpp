#include "host/drive/line_scanner.h"

#include <algorithm>
#include <utility>

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <fmt/format.h>

namespace volad_dev {
namespace {

constexpr std::string_view kBlanks = " \t\r";

// An envelope goes through code that goes one call deeper with each level.
constexpr int kDeepest = 1000;

// Sees a JSON value go by: how deep it is, and its text where it is one.
struct ValueHandler : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ValueHandler> {
    bool StartObject() { return ++depth <= kDeepest; }
    bool StartArray() { return ++depth <= kDeepest; }
    bool EndObject(rapidjson::SizeType /*members*/) { return depth-- > 0; }
    bool EndArray(rapidjson::SizeType /*elements*/) { return depth-- > 0; }
    bool String(const char* characters, rapidjson::SizeType length, bool /*copy*/) {
        if (depth == 0) {
            text.emplace(characters, length);
        }
        return true;
    }
    int depth = 0;
    std::optional<std::string> text;
};

// Of the JSON value at the begin of a line, and why there is none.
struct Parsed {
    size_t length = 0;
    std::optional<std::string> text;
    std::string fault;
};

// Iterative: a line of brackets is no way into our stack.
Parsed parseJson(std::string_view line) {
    rapidjson::MemoryStream stream(line.data(), line.size());
    ValueHandler handler;
    const rapidjson::ParseResult result =
        rapidjson::Reader().Parse<rapidjson::kParseStopWhenDoneFlag | rapidjson::kParseIterativeFlag>(
            stream, handler);
    const char* const fault = handler.depth > kDeepest ? "it is too deep"
                              : result.IsError()       ? rapidjson::GetParseError_En(result.Code())
                                                       : "";
    return {stream.Tell(), std::move(handler.text), fault};
}

} // namespace

void LineScanner::skipBlanks() {
    m_rest.remove_prefix(std::min(m_rest.find_first_not_of(kBlanks), m_rest.size()));
}

std::string LineScanner::take(size_t length) {
    std::string taken(m_rest.substr(0, length));
    m_rest.remove_prefix(taken.size());
    skipBlanks();
    return taken;
}

std::string LineScanner::takenSince(const LineScanner& earlier) const {
    LineScanner taken("");
    taken.m_rest = earlier.m_rest.substr(0, earlier.m_rest.size() - m_rest.size());
    return taken.rest();
}

std::string LineScanner::word() {
    return atEnd() ? "" : take(std::min(m_rest.find_first_of(kBlanks), m_rest.size()));
}

std::string LineScanner::wordUpTo(std::string_view ends) {
    const size_t length =
        std::min({m_rest.find_first_of(kBlanks), m_rest.find_first_of(ends), m_rest.size()});
    std::string taken(m_rest.substr(0, length));
    m_rest.remove_prefix(length);
    return taken;
}

bool LineScanner::take(char character) {
    const bool there = m_rest.starts_with(character);
    m_rest.remove_prefix(there ? 1 : 0);
    return there;
}

bool LineScanner::takeWord(std::string_view word) {
    const bool there =
        !atEnd() && m_rest.substr(0, std::min(m_rest.find_first_of(kBlanks), m_rest.size())) == word;
    if (there) {
        static_cast<void>(take(word.size()));
    }
    return there;
}

std::string LineScanner::json() {
    const Parsed parsed = parseJson(m_rest);
    if (!parsed.fault.empty()) {
        throw ScriptFault(fmt::format("no JSON: {}", parsed.fault));
    }
    return take(parsed.length);
}

std::optional<std::string> LineScanner::jsonToEnd() {
    const Parsed parsed = parseJson(m_rest);
    if (!parsed.fault.empty()) {
        return std::nullopt;
    }
    LineScanner behind = *this;
    std::string value = behind.take(parsed.length);
    if (!behind.atEnd()) {
        return std::nullopt;
    }
    *this = behind;
    return value;
}

std::string LineScanner::text() {
    const Parsed parsed = parseJson(m_rest);
    if (!parsed.fault.empty() || !parsed.text) {
        throw ScriptFault("a text in quotes has no end, or is none");
    }
    static_cast<void>(take(parsed.length));
    return *parsed.text;
}

std::string LineScanner::rest() {
    const size_t end = m_rest.find_last_not_of(kBlanks);
    std::string all(m_rest.substr(0, end == std::string_view::npos ? 0 : end + 1));
    m_rest = {};
    return all;
}

} // namespace volad_dev
