// What it takes to load a message file and to find its last code: beside the least that can do it, which
// reads, validates (or converts with iconv) and parses with pugixml, and beside other parsers. Half of the
// messages are German, with a letter beyond ASCII in each.
#include <expat.h>
#include <fcntl.h>
#include <iconv.h>
#include <libxml/parser.h>
#include <malloc.h>
#include <strings.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <pugixml.hpp>
#include <string>

#include "base/file_content.h"
#include "bench/comparison.h"
#include "catalogue/log_msg_xml_file_impl.h"

namespace em::bench {
namespace {

constexpr int kRounds = 31;

std::string hexadecimal(size_t code) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%06zX", 0xE0000 + code);
    return text.data();
}

class Converter {
public:
    Converter(const char* to, const char* from) : m_handle(::iconv_open(to, from)) {}
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() { ::iconv_close(m_handle); }

    // Returns the bytes that were written.
    size_t convert(const char* from, size_t size, char* to, size_t room) {
        const char* const begin = to;
        char* in = const_cast<char*>(from); // iconv does not write there
        require(::iconv(m_handle, &in, &size, &to, &room) != static_cast<size_t>(-1), "iconv");
        return static_cast<size_t>(to - begin);
    }

private:
    iconv_t m_handle;
};

// One of `count` codes, in a file of its own that goes with it.
class MessageFile {
public:
    MessageFile(size_t count, const char* encoding)
        : m_path("message_file_bench.xml"), m_encoding(encoding), m_last(hexadecimal(count - 1)) {
        std::string text =
            std::string("<?xml version=\"1.0\" encoding=\"") + encoding + "\"?>\n<EventMsg>\n  <Events>\n";
        for (size_t code = 0; code < count; ++code) {
            const std::string number = std::to_string(code);
            text += "    <Event ErrorCode=\"" + hexadecimal(code) +
                    "\">\n      <Messages lang=\"de\">\n        <Summary>Ereignis Nummer " + number +
                    " ist für die Maschine eingetreten</Summary>\n      </Messages>\n"
                    "      <Messages lang=\"en\">\n        <Summary>Event number " +
                    number + " has come to the machine</Summary>\n      </Messages>\n    </Event>\n";
        }
        text += "  </Events>\n</EventMsg>\n";
        std::string encoded(text.size() * 2 + 8, '\0');
        encoded.resize(
            Converter(encoding, "UTF-8").convert(text.data(), text.size(), encoded.data(), encoded.size()));
        require(static_cast<bool>(std::ofstream(m_path, std::ios::binary) << encoded), "writing the file");
    }
    MessageFile(const MessageFile&) = delete;
    MessageFile& operator=(const MessageFile&) = delete;
    ~MessageFile() { std::filesystem::remove(m_path); }

    [[nodiscard]] const char* path() const { return m_path.c_str(); }
    [[nodiscard]] const char* encoding() const { return m_encoding; }
    [[nodiscard]] const char* last() const { return m_last.c_str(); }
    [[nodiscard]] bool isUtf8() const { return std::strcmp(m_encoding, "UTF-8") == 0; }

private:
    const std::string m_path;
    const char* const m_encoding;
    const std::string m_last;
};

void ours(const MessageFile& file) {
    XmlDocument document;
    require(document.loadFile(file.path()).loaded(), "loading");
    require(!CLogMsgXmlFileImpl(document).Search(file.last(), "Summary", "en", 0).empty(), "finding");
}

// The least: eight bytes at once as long as they are ASCII, and no more than the shape of what is not.
bool isUtf8(const char* next, const char* const end) {
    while (next != end) {
        uint64_t word = 0;
        if (end - next >= 8 && (std::memcpy(&word, next, 8), (word & 0x8080808080808080) == 0)) {
            next += 8;
            continue;
        }
        const auto lead = static_cast<unsigned char>(*next);
        const int more = lead < 0x80 ? 0 : lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC2 ? 1 : -1;
        if (more < 0 || end - next <= more) {
            return false;
        }
        for (int i = 1; i <= more; ++i) {
            if ((static_cast<unsigned char>(next[i]) & 0xC0) != 0x80) {
                return false;
            }
        }
        next += more + 1;
    }
    return true;
}

void requireMessage(const pugi::xml_document& document, const char* code) {
    for (const pugi::xml_node event : document.child("EventMsg").child("Events").children("Event")) {
        if (::strcasecmp(event.attribute("ErrorCode").value(), code) == 0) {
            for (const pugi::xml_node messages : event.children("Messages")) {
                if (::strcasecmp(messages.attribute("lang").value(), "en") == 0) {
                    const std::string text = messages.child("Summary").text().get();
                    require(!text.empty(), "finding by hand");
                    return;
                }
            }
        }
    }
    require(false, "finding by hand");
}

void byHand(const MessageFile& file) {
    FileContent content;
    require(readRegularFile(file.path(), SIZE_MAX, 0, content) == 0, "reading by hand");
    if (file.isUtf8()) {
        require(isUtf8(content.data.get(), content.data.get() + content.size), "validating by hand");
    } else {
        const size_t room = content.size * 2;
        std::unique_ptr<char, FreeDeleter> text(static_cast<char*>(std::malloc(room)));
        content.size =
            Converter("UTF-8", file.encoding()).convert(content.data.get(), content.size, text.get(), room);
        content.data = std::move(text);
    }
    pugi::xml_document document;
    require(static_cast<bool>(document.load_buffer_inplace(content.data.get(), content.size,
                                                           pugi::parse_default, pugi::encoding_utf8)),
            "parsing by hand");
    requireMessage(document, file.last());
}

void byPugixml(const MessageFile& file) {
    pugi::xml_document document;
    require(static_cast<bool>(document.load_file(file.path())), "pugixml");
    requireMessage(document, file.last());
}

// The whole tree, without the look-up.
void byLibxml2(const MessageFile& file) {
    xmlDoc* const document = xmlReadFile(file.path(), nullptr, XML_PARSE_NONET | XML_PARSE_HUGE);
    require(document != nullptr, "libxml2");
    xmlFreeDoc(document);
}

// The events of the parser alone, of which nothing is kept.
void byExpat(const MessageFile& file) {
    FileContent content;
    require(readRegularFile(file.path(), SIZE_MAX, 0, content) == 0, "reading for expat");
    XML_Parser const parser = XML_ParserCreate(nullptr);
    size_t texts = 0;
    XML_SetUserData(parser, &texts);
    XML_SetElementHandler(
        parser, [](void* user, const char*, const char**) { ++*static_cast<size_t*>(user); },
        [](void*, const char*) {});
    XML_SetCharacterDataHandler(parser, [](void* user, const char*, int) { ++*static_cast<size_t*>(user); });
    const auto parsed = XML_Parse(parser, content.data.get(), static_cast<int>(content.size), 1);
    XML_ParserFree(parser);
    require(parsed == XML_STATUS_OK && texts > 0, "expat");
}

void compareWith(const std::string& name, size_t count, const char* encoding,
                 void (*theirs)(const MessageFile&)) {
    compare(name, kRounds, [=] {
        const auto file = std::make_shared<const MessageFile>(count, encoding);
        return Pair{timed(1, [=] { ours(*file); }), timed(1, [=] { theirs(*file); })};
    });
}

size_t kibibytesOf(const char* field) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == field) {
            size_t value = 0;
            status >> value;
            return value;
        }
    }
    throw std::runtime_error("no such field in /proc/self/status");
}

// What it takes of the machine's memory at its peak, beyond what the process had.
std::map<std::string, double> peak() {
    const MessageFile file(10'000, "UTF-8");
    ::malloc_trim(0);
    require(static_cast<bool>(std::ofstream("/proc/self/clear_refs") << "5" << std::flush), "a new peak");
    const size_t before = kibibytesOf("VmRSS:");
    ours(file);
    return {{"peak_kib", static_cast<double>(kibibytesOf("VmHWM:") - before)}};
}

} // namespace

void addComparisons() {
    tell("peak of 10000 codes", peak); // first: in a heap that nothing has used yet
    for (const size_t count : {100, 1'000, 10'000}) {
        compareWith(std::to_string(count) + " codes, UTF-8 / by hand", count, "UTF-8", byHand);
    }
    for (const char* const encoding : {"UTF-16", "ISO-8859-1"}) {
        compareWith(std::string("10000 codes, ") + encoding + " / by hand", 10'000, encoding, byHand);
    }
    for (const char* const encoding : {"UTF-8", "UTF-16", "ISO-8859-1"}) {
        const std::string what = std::string("10000 codes, ") + encoding;
        compareWith(what + " / pugixml", 10'000, encoding, byPugixml);
        compareWith(what + " / libxml2", 10'000, encoding, byLibxml2);
        compareWith(what + " / expat", 10'000, encoding, byExpat);
    }
}

} // namespace em::bench
