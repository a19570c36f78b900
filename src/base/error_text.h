// The system's text for an error number. Any thread.
#pragma once

#include <array>
#include <cstring>

namespace em {

class ErrorText {
public:
    explicit ErrorText(int error) : m_text(::strerror_r(error, m_buffer.data(), m_buffer.size())) {}
    ErrorText(const ErrorText&) = delete;
    ErrorText& operator=(const ErrorText&) = delete;

    // Lives as long as the object.
    [[nodiscard]] const char* get() const { return m_text; }

private:
    std::array<char, 128> m_buffer; // for numbers without a text of their own
    const char* m_text;
};

} // namespace em
