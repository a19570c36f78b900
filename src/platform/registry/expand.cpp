#include "platform/registry/expand.h"

#include "base/system.h"

namespace em {

std::string expandReferences(std::string_view text) {
    std::string result;
    for (;;) {
        const size_t open = text.find('%');
        const size_t close = open == std::string_view::npos ? open : text.find('%', open + 1);
        if (close == std::string_view::npos) {
            return result.append(text);
        }
        result.append(text.substr(0, open));
        // "%%" stands for the sign itself; a name that the environment does not know, for nothing.
        if (close == open + 1) {
            result += '%';
        } else if (const char* const value =
                       sys::getenv(std::string(text.substr(open + 1, close - open - 1)).c_str())) {
            result.append(value);
        }
        text.remove_prefix(close + 1);
    }
}

} // namespace em
