// A message file written of any codes, languages and texts, in one of four encodings, with whatever its
// format allows for the same text: each look-up gives the text that was written, of the first code and
// language that match, and nothing where there is none.
#include <iconv.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "base/ascii.h"
#include "base/utf8.h"
#include "catalogue/log_msg_xml_file_impl.h"
#include "input.h"
#include "markup/xml_document.h"

namespace {

using fuzz::require;

struct Texts {
    std::string language;
    std::vector<std::string> summaries;
};
struct Event {
    std::string code;
    std::vector<Texts> languages;
};

// What a file may hold as text: UTF-8 without NUL.
std::string textOf(fuzz::Input& input) {
    std::string text = input.text(64);
    text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
    text.resize(em::validUtf8Length(text));
    return text;
}

std::vector<Event> eventsOf(fuzz::Input& input) {
    std::vector<Event> events(input.below(5) + 1);
    for (Event& event : events) {
        event.code = input.flag() ? "0x0E000" + std::to_string(input.below(4)) : textOf(input);
        event.languages.resize(input.below(3));
        for (Texts& texts : event.languages) {
            texts.language = input.flag() ? "en" : textOf(input);
            texts.summaries.resize(input.below(4));
            std::generate(texts.summaries.begin(), texts.summaries.end(), [&] { return textOf(input); });
        }
    }
    return events;
}

// Each byte below U+0080 that means something to a parser as a reference, the others as they stand.
std::string escaped(const std::string& text) {
    constexpr std::string_view kMeans = "<>&\"'\r\n\t []";
    std::string result;
    for (const char c : text) {
        result += kMeans.find(c) != std::string_view::npos ? "&#" + std::to_string(int{c}) + ";"
                                                           : std::string(1, c);
    }
    return result;
}

// The same text in another form: plain, in a CDATA section, in pieces with something between that is no text.
std::string written(const std::string& text, unsigned form) {
    if (form == 1 && text.find("]]>") == std::string::npos && text.find('\r') == std::string::npos) {
        return "<![CDATA[" + text + "]]>";
    }
    size_t half = text.size() / 2;
    half -= half - em::validUtf8Length(text.substr(0, half)); // no character is cut
    const std::string between = form == 2 ? "<!-- <Summary> -->" : form == 3 ? "<b>no</b>" : "";
    return escaped(text.substr(0, half)) + between + escaped(text.substr(half));
}

std::string documentOf(const std::vector<Event>& events, fuzz::Input& input) {
    std::string xml = "<EventMsg><Events>";
    for (const Event& event : events) {
        xml += "<Event ErrorCode=\"" + escaped(event.code) + "\">";
        for (const Texts& texts : event.languages) {
            xml += "<Messages lang='" + escaped(texts.language) + "'>";
            for (const std::string& summary : texts.summaries) {
                xml += "<Summary>" + written(summary, input.below(4)) + "</Summary><Other>no</Other>";
            }
            xml += "</Messages>";
        }
        xml += "</Event>";
    }
    return xml + "</Events></EventMsg>";
}

struct Encoding {
    const char* name;
    std::string_view mark;
    const char* declaration;
};
constexpr Encoding kEncodings[] = {
    {"UTF-8", "", ""},
    {"UTF-8", "\xEF\xBB\xBF", "<?xml version=\"1.0\"?>"},
    {"UTF-16LE", "\xFF\xFE", ""},
    {"UTF-16BE", "\xFE\xFF", "<?xml version=\"1.0\" encoding=\"UTF-16\"?>"},
};

std::string encoded(const std::string& document, const Encoding& encoding) {
    std::string text = encoding.declaration + document;
    const iconv_t conversion = ::iconv_open(encoding.name, "UTF-8");
    require(conversion != reinterpret_cast<iconv_t>(-1));
    std::string bytes(2 * text.size(), '\0');
    char* from = text.data();
    char* to = bytes.data();
    size_t fromLeft = text.size();
    size_t toLeft = bytes.size();
    require(::iconv(conversion, &from, &fromLeft, &to, &toLeft) != static_cast<size_t>(-1) && fromLeft == 0);
    ::iconv_close(conversion);
    bytes.resize(bytes.size() - toLeft);
    return std::string(encoding.mark) + bytes;
}

std::string wanted(const std::vector<Event>& events, const std::string& code, const std::string& language,
                   size_t index) {
    const auto event = std::find_if(events.begin(), events.end(), [&](const Event& each) {
        return em::equalsIgnoringAsciiCase(each.code, code.c_str());
    });
    if (event == events.end()) {
        return "";
    }
    const auto texts = std::find_if(event->languages.begin(), event->languages.end(), [&](const Texts& each) {
        return em::equalsIgnoringAsciiCase(each.language, language.c_str());
    });
    return texts == event->languages.end() || index >= texts->summaries.size() ? "" : texts->summaries[index];
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz::Input input(bytes, size);
    const Encoding& encoding = kEncodings[input.below(std::size(kEncodings))];
    const std::vector<Event> events = eventsOf(input);
    const std::string file = encoded(documentOf(events, input), encoding);
    em::XmlDocument document;
    require(document.loadBytes(file.data(), file.size()).loaded());
    const em::CLogMsgXmlFileImpl catalogue(document);
    const auto requireText = [&](const std::string& code, const std::string& language, size_t index) {
        require(catalogue.Search(code.c_str(), "Summary", language.c_str(), static_cast<int32_t>(index)) ==
                wanted(events, code, language, index));
    };
    for (const Event& event : events) {
        for (const Texts& texts : event.languages) {
            for (size_t index = 0; index <= texts.summaries.size(); ++index) {
                requireText(event.code, texts.language, index);
            }
        }
        requireText(event.code, "EN", 0);
        require(catalogue.Search(event.code.c_str(), "Summary", nullptr, -1).empty());
    }
    require(catalogue.Search("0x0E0009", "Summary", nullptr, 0) == wanted(events, "0x0E0009", "en", 0));
    return 0;
}
