#include "rig/recording.h"

#include <cstdio>

#include "rig/tests_own.h"

namespace em::test {

Recording& recording() {
    static Recording& instance = *new Recording; // threads of the module may outlive main
    return instance;
}

std::string withVisibleNewlines(std::string_view text) {
    std::string visible;
    for (const char character : text) {
        visible += character == '\n' ? "\\n" : std::string(1, character);
    }
    return visible;
}

namespace {

[[gnu::format(printf, 2, 0)]] void add(Kind kind, const char* format, va_list arguments, const char* module) {
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<size_t>(std::vsnprintf(nullptr, 0, format, arguments)), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    const bool ours = std::string("EM_SHUTDOWN") == module;
    recording().add(kind, (ours ? "" : "wrong module name: ") + text);
}

} // namespace

void RecordingDebugObject::print(const char* format, va_list arguments, const char* module) {
    const TestsOwn notTheProducts;
    add(Kind::Print, format, arguments, module);
}

void RecordingDebugObject::trace(const char* format, va_list arguments, const char* module) {
    const TestsOwn notTheProducts;
    add(Kind::Trace, format, arguments, module);
}

} // namespace em::test
