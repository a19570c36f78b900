#include "markup/text_encoding.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <utility>

#include "base/ascii.h"
#include "base/errno_keeper.h"
#include "base/system.h"
#include "base/utf8.h"

namespace em {
namespace {

constexpr const char* kBadName = "its declaration holds no usable encoding name";
constexpr const char* kUnknownName = "its encoding is not known here";
constexpr const char* kBadSequence = "it is not valid in its encoding";
constexpr const char* kIncomplete = "it ends within a character";
constexpr const char* kNulCharacter = "it holds a NUL character";
constexpr const char* kLyingName = "it is not in the encoding that its declaration names";
constexpr const char* kTooLong = "its text is longer than 64 MiB";

struct ByteOrderMark {
    std::string_view bytes;
    const char* name;
};

constexpr std::array<ByteOrderMark, 3> kByteOrderMarks{{
    {"\xEF\xBB\xBF", "UTF-8"},
    {"\xFF\xFE", "UTF-16LE"},
    {"\xFE\xFF", "UTF-16BE"},
}};

constexpr size_t kLongestName = 64;

// No "/": iconv reads options behind it. No empty name: that is the locale's encoding.
bool isEncodingName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && isAsciiLetter(name[0]) &&
           std::all_of(name.begin(), name.end(), [](char c) {
               return isAsciiLetter(c) || isAsciiDigit(c) || c == '.' || c == '_' || c == '-';
           });
}

std::string_view skipBlanks(std::string_view text) {
    const auto* const first = std::find_if_not(text.begin(), text.end(), isAsciiBlank);
    return text.substr(static_cast<size_t>(first - text.begin()));
}

// "<?xml ... ?>" at the very start, else nothing.
std::string_view findDeclaration(std::string_view text) {
    constexpr std::string_view kOpening = "<?xml";
    const size_t end = text.find("?>");
    if (text.substr(0, kOpening.size()) != kOpening || end == std::string_view::npos ||
        !isAsciiBlank(text[kOpening.size()])) {
        return {};
    }
    return text.substr(0, end + 2);
}

// Takes name="value" off the text's start. False when there is none.
bool takeAttribute(std::string_view& text, std::string_view& name, std::string_view& value) {
    text = skipBlanks(text);
    const auto* const nameEnd = std::find_if_not(text.begin(), text.end(), isAsciiLetter);
    name = text.substr(0, static_cast<size_t>(nameEnd - text.begin()));
    text = skipBlanks(text.substr(name.size()));
    if (name.empty() || text.empty() || text[0] != '=') {
        return false;
    }
    text = skipBlanks(text.substr(1));
    if (text.empty() || (text[0] != '"' && text[0] != '\'')) {
        return false;
    }
    const size_t quote = text.find(text[0], 1);
    if (quote == std::string_view::npos) {
        return false;
    }
    value = text.substr(1, quote - 1);
    text = text.substr(quote + 1);
    return true;
}

class Converter {
public:
    explicit Converter(const char* from) : m_handle(sys::iconv_open("UTF-8", from)) {}
    ~Converter() {
        if (valid()) {
            const ErrnoKeeper keeper;
            ::iconv_close(m_handle);
        }
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    [[nodiscard]] bool valid() const {
        // iconv_open's failure is (iconv_t)-1.
        return m_handle != reinterpret_cast<iconv_t>(-1); // NOLINT(performance-no-int-to-ptr)
    }

    // Converts as much as fits into the room given and takes it off the input; an empty input flushes what
    // the conversion still holds. Returns 0 or the error number.
    int step(std::string_view& input, char*& out, size_t& room) {
        char* from = const_cast<char*>(input.data()); // iconv does not write there
        size_t left = input.size();
        const bool flush = input.empty();
        errno = 0;
        const size_t result = flush ? ::iconv(m_handle, nullptr, nullptr, &out, &room)
                                    : ::iconv(m_handle, &from, &left, &out, &room);
        const int error = result == static_cast<size_t>(-1) ? errno : 0;
        input = input.substr(input.size() - left);
        return error;
    }

private:
    iconv_t m_handle;
};

// A text that grows, up to its bound.
class GrowingText {
public:
    explicit GrowingText(size_t expected) { resize(std::min(expected, kMost)); }

    [[nodiscard]] char* end() const { return m_memory.get() + m_size; }
    [[nodiscard]] size_t room() const { return m_capacity - m_size; }
    void add(size_t written) { m_size += written; }
    // False at the bound.
    [[nodiscard]] bool grow() {
        if (m_capacity == kMost) {
            return false;
        }
        resize(std::min(m_capacity * 2, kMost));
        return true;
    }
    [[nodiscard]] DecodedText take() {
        char* const begin = m_memory.get();
        return {std::move(m_memory), {begin, m_size}};
    }

private:
    static constexpr size_t kMost = kLargestXmlText;

    void resize(size_t capacity) {
        void* const moved = sys::realloc(m_memory.get(), capacity);
        if (moved == nullptr) {
            throw std::bad_alloc();
        }
        static_cast<void>(m_memory.release());
        m_memory.reset(static_cast<char*>(moved));
        m_capacity = capacity;
    }

    std::unique_ptr<char, FreeDeleter> m_memory;
    size_t m_capacity = 0;
    size_t m_size = 0;
};

// Into a bounded text: a small file in an unusual encoding may grow.
const char* convert(const TextEncoding& encoding, DecodedText& decoded, size_t& offset) {
    Converter converter(encoding.name.c_str());
    if (!converter.valid()) {
        return kUnknownName;
    }
    constexpr size_t kSpare = 64; // for an encoding that ends with something, and for no content at all
    GrowingText text(encoding.content.size() + kSpare);
    std::string_view input = encoding.content;
    for (bool flushed = false; !flushed;) {
        const bool flushes = input.empty();
        char* out = text.end();
        size_t room = text.room();
        const int error = converter.step(input, out, room);
        text.add(text.room() - room);
        offset = encoding.content.size() - input.size();
        if (error == E2BIG) {
            if (!text.grow()) {
                return kTooLong;
            }
        } else if (error != 0) {
            return error == EINVAL ? kIncomplete : kBadSequence;
        } else {
            flushed = flushes;
        }
    }
    decoded = text.take();
    return nullptr;
}

bool isUtf8Name(std::string_view name) {
    return equalsIgnoringAsciiCase(name, "UTF-8") || equalsIgnoringAsciiCase(name, "UTF8");
}

// Nothing is converted: the bytes are the text.
const char* checkUtf8(const TextEncoding& encoding, DecodedText& decoded, size_t& offset) {
    const std::string_view content = encoding.content;
    const size_t valid = validUtf8Length(content);
    if (valid < content.size()) {
        offset = valid;
        return beginsUtf8Character(content.substr(valid)) ? kIncomplete : kBadSequence;
    }
    decoded.text = {decoded.memory.get() + (content.data() - decoded.memory.get()), content.size()};
    return nullptr;
}

const char* convertAndCheck(const TextEncoding& encoding, DecodedText& decoded, size_t& offset) {
    const std::string declaration(encoding.declaration); // of the bytes that are freed
    if (const char* const reason = convert(encoding, decoded, offset)) {
        return reason;
    }
    offset = 0;
    const std::string_view text(decoded.text.data(), decoded.text.size());
    // The declaration was read as ASCII: in an encoding where it reads otherwise, its name is a lie.
    if (text.substr(0, declaration.size()) != declaration) {
        return kLyingName;
    }
    // iconv lets code points beyond Unicode pass.
    return validUtf8Length(text) != text.size() ? kBadSequence : nullptr;
}

} // namespace

const char* detectEncoding(std::string_view bytes, TextEncoding& encoding) {
    encoding = {"UTF-8", bytes, {}};
    for (const ByteOrderMark& mark : kByteOrderMarks) {
        if (bytes.substr(0, mark.bytes.size()) == mark.bytes) {
            encoding.name = mark.name;
            encoding.content = bytes.substr(mark.bytes.size());
            return nullptr;
        }
    }
    const std::string_view declaration = findDeclaration(bytes);
    std::string_view rest =
        declaration.substr(std::min(declaration.size(), std::string_view("<?xml").size()));
    for (std::string_view name, value; takeAttribute(rest, name, value);) {
        if (name == "encoding") {
            encoding.name = std::string(value);
            encoding.declaration = declaration;
            return isEncodingName(value) ? nullptr : kBadName;
        }
    }
    return nullptr;
}

const char* decodeText(const TextEncoding& encoding, DecodedText& decoded, size_t& offset) {
    offset = 0;
    const char* const reason = isUtf8Name(encoding.name) ? checkUtf8(encoding, decoded, offset)
                                                         : convertAndCheck(encoding, decoded, offset);
    if (reason != nullptr) {
        return reason;
    }
    const std::string_view text(decoded.text.data(), decoded.text.size());
    return text.find('\0') != std::string_view::npos ? kNulCharacter : nullptr;
}

} // namespace em
