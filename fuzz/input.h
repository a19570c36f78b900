// What a fuzzer's bytes stand for.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <type_traits>

namespace fuzz {

// Takes values off the bytes, from their start. Where they run out, the rest is zeros and texts are short.
class Input {
public:
    Input(const uint8_t* bytes, size_t size) : m_bytes(reinterpret_cast<const char*>(bytes), size) {}

    [[nodiscard]] bool empty() const { return m_bytes.empty(); }

    template <typename Number>
    Number number() {
        static_assert(std::is_arithmetic_v<Number> && !std::is_same_v<Number, bool>);
        Number value = 0;
        const std::string_view bytes = take(sizeof value);
        bytes.copy(reinterpret_cast<char*>(&value), bytes.size());
        return value;
    }

    // 0 ... bound - 1, of one byte.
    unsigned below(unsigned bound) { return number<uint8_t>() % bound; }
    bool flag() { return below(2) == 1; }

    std::string_view take(size_t size) {
        const std::string_view taken = m_bytes.substr(0, size);
        m_bytes.remove_prefix(taken.size());
        return taken;
    }

    // A text of less than `bound` bytes, any of them.
    std::string text(unsigned bound) { return std::string(take(below(bound))); }

    // A text up to the next NUL, which is taken, too.
    std::string cText() {
        const std::string text(take(m_bytes.find('\0')));
        take(1);
        return text;
    }

private:
    std::string_view m_bytes;
};

// Ends the run where something does not hold, and tells where that is.
inline void require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (!holds) {
        std::fprintf(stderr, "%s:%d: this does not hold\n", file, line);
        std::abort();
    }
}

} // namespace fuzz
