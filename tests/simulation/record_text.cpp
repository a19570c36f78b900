#include "simulation/record_text.h"

#include <cstdlib>
#include <cstring>

namespace em::test {

bool isLine(const char* format, const char* text) {
    for (; *format != '\0'; ++format, ++text) {
        if (*format == '%') {
            format += std::strcspn(format + 1, "dsuXxp") + 2;
            for (;; ++text) {
                if (isLine(format, text)) {
                    return true;
                }
                if (*text == '\0') {
                    return false;
                }
            }
        }
        if (*format != *text) {
            return false;
        }
    }
    return *text == '\0';
}

int64_t numberBehind(const std::string& text, const char* before) {
    const size_t at = text.rfind(before);
    return at == std::string::npos ? 0 : std::strtoll(text.c_str() + at + std::strlen(before), nullptr, 10);
}

Message messageIn(const std::string& hostCall) {
    constexpr char kData[] = "\"DA\":";
    const size_t at = hostCall.find(kData);
    const size_t value = at + std::strlen(kData);
    Message message{numberBehind(hostCall, "\"OC\":"), {}};
    if (at != std::string::npos && hostCall[value] >= '0' && hostCall[value] <= '9') {
        message.data = std::strtoll(hostCall.c_str() + value, nullptr, 10);
    }
    return message;
}

} // namespace em::test
