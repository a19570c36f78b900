#include "markup/text_encoding.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "base/ascii.h"
#include "base/errno_keeper.h"
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
    explicit Converter(const char* from) : m_handle(::iconv_open("UTF-8", from)) {}
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

// By pieces into a bounded text: a small file in an unusual encoding may grow.
const char* convert(const TextEncoding& encoding, std::string& text, size_t& offset) {
    Converter converter(encoding.name.c_str());
    if (!converter.valid()) {
        return kUnknownName;
    }
    std::array<char, 16UL * 1024> piece;
    std::string_view input = encoding.content;
    bool flushed = false;
    while (!flushed) {
        flushed = input.empty();
        char* out = piece.data();
        size_t room = piece.size();
        const int error = converter.step(input, out, room);
        text.append(piece.data(), piece.size() - room);
        offset = encoding.content.size() - input.size();
        if (error != 0 && (error != E2BIG || room == piece.size())) {
            return error == EINVAL ? kIncomplete : kBadSequence;
        }
        if (text.size() > kLargestXmlText) {
            return kTooLong;
        }
    }
    return nullptr;
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

const char* decodeText(const TextEncoding& encoding, std::string& text, size_t& offset) {
    text.clear();
    offset = 0;
    if (const char* const reason = convert(encoding, text, offset)) {
        return reason;
    }
    offset = 0;
    // The declaration was read as ASCII: in an encoding where it reads otherwise, its name is a lie.
    if (std::string_view(text).substr(0, encoding.declaration.size()) != encoding.declaration) {
        return kLyingName;
    }
    // iconv lets code points beyond Unicode pass.
    if (validUtf8Length(text) != text.size()) {
        return kBadSequence;
    }
    return text.find('\0') != std::string::npos ? kNulCharacter : nullptr;
}

} // namespace em
