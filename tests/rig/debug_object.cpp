#include "rig/debug_object.h"

#include <cstdio>
#include <string>

#include "rig/recording.h"

namespace em::test {
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
    add(Kind::Print, format, arguments, module);
}

void RecordingDebugObject::trace(const char* format, va_list arguments, const char* module) {
    add(Kind::Trace, format, arguments, module);
}

} // namespace em::test
