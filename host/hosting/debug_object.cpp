#include "host/hosting/debug_object.h"

#include <cstdio>
#include <utility>

#include "host/common/mutex.h"

namespace volad_dev {
namespace {

struct SinkPlace {
    Mutex mutex;
    TraceSink sink EM_GUARDED_BY(mutex);
};

SinkPlace& place() {
    static SinkPlace instance;
    return instance;
}

// The formats are the callers' business: they come through a binary interface.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string formatted(const char* format, va_list arguments) {
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    // The room for the NUL is the string's own.
    static_cast<void>(std::vsnprintf(text.data(), text.size() + 1, format, arguments));
    return text;
}
#pragma GCC diagnostic pop

// A text may hold several lines, and line breaks around them; each is one line for the sink, empty ones are
// none.
void handOver(const std::string& text) {
    SinkPlace& here = place();
    const MutexLock lock(here.mutex);
    if (!here.sink) {
        return;
    }
    for (size_t begin = 0; (begin = text.find_first_not_of('\n', begin)) != std::string::npos;) {
        const size_t end = text.find('\n', begin);
        here.sink(text.substr(begin, end - begin));
        begin = end;
    }
}

} // namespace

TraceSinkScope::TraceSinkScope(TraceSink sink) {
    SinkPlace& here = place();
    const MutexLock lock(here.mutex);
    here.sink = std::move(sink);
}

TraceSinkScope::~TraceSinkScope() {
    SinkPlace& here = place();
    const MutexLock lock(here.mutex);
    here.sink = nullptr;
}

void LineSplitter::print(const char* format, va_list arguments, const char* /*moduleName*/) {
    handOver(formatted(format, arguments));
}

void LineSplitter::trace(const char* format, va_list arguments, const char* /*moduleName*/) {
    handOver(formatted(format, arguments));
}

} // namespace volad_dev

// The symbol's address is the object.
extern "C" {
[[gnu::visibility("default"), gnu::used]] volad_dev::LineSplitter Debug;
}
