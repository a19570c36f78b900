#include "host/drive/line_scanner.h"

#include <algorithm>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>

#include <fmt/format.h>

namespace volad_dev {
namespace {

constexpr std::string_view kBlanks = " \t\r";

// Of the JSON value at the begin of the text, and why there is none. Iterative: a line of brackets is no way
// into our stack.
struct Parsed {
    rapidjson::Document document;
    size_t length = 0;
    std::string fault;
};

Parsed parseJson(std::string_view text) {
    Parsed parsed;
    rapidjson::MemoryStream stream(text.data(), text.size());
    parsed.document.ParseStream<rapidjson::kParseStopWhenDoneFlag | rapidjson::kParseIterativeFlag>(stream);
    parsed.length = stream.Tell();
    if (parsed.document.HasParseError()) {
        parsed.fault = rapidjson::GetParseError_En(parsed.document.GetParseError());
    }
    return parsed;
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
    if (!parsed.fault.empty() || !parsed.document.IsString()) {
        throw ScriptFault("a text in quotes has no end, or is none");
    }
    static_cast<void>(take(parsed.length));
    return {parsed.document.GetString(), parsed.document.GetStringLength()};
}

std::string LineScanner::rest() {
    const size_t end = m_rest.find_last_not_of(kBlanks);
    std::string all(m_rest.substr(0, end == std::string_view::npos ? 0 : end + 1));
    m_rest = {};
    return all;
}

} // namespace volad_dev
