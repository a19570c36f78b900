#include "base/system_log.h"

#include <array>
#include <atomic>
#include <cstring>
#include <string>

#include "base/errno_keeper.h"
#include "base/error_text.h"
#include "base/mutex.h"
#include "base/system.h"

namespace em {
namespace {

constinit std::atomic<bool> opened{false};
constinit Mutex openMutex;

// Once for the process and never closed: the log is the host's too.
void openOnce() {
    if (opened) {
        return;
    }
    const MutexLock lock(openMutex);
    if (!opened) {
        // libc's own pointer: openlog keeps it, and a copy of ours would dangle after an unload.
        sys::openlog(program_invocation_short_name, LOG_PID | LOG_CONS | LOG_NDELAY, LOG_LOCAL1);
        opened = true;
    }
}

__attribute__((format_arg(1))) const char* withoutLeadingNewlines(const char* format) {
    const char* text = format + std::strspn(format, "\n");
    return *text == '\0' ? format : text;
}

// What a second formatting without arguments would give where that is defined.
std::string resolved(const char* text, int error) {
    std::string result;
    for (; *text != '\0'; ++text) {
        if (text[0] == '%' && text[1] == '%') {
            result += '%';
            ++text;
        } else if (text[0] == '%' && text[1] == 'm') {
            result += ErrorText(error).get();
            ++text;
        } else {
            result += *text;
        }
    }
    return result;
}

} // namespace

void writeSystemLog(const char* format, va_list arguments) {
    const ErrnoKeeper keeper;
    openOnce();
    std::array<char, 1024> buffer;
    errno = keeper.atEntry();
    if (std::vsnprintf(buffer.data(), buffer.size(), withoutLeadingNewlines(format), arguments) < 0) {
        sys::logText(LOG_INFO, "ERROR: cann't format message");
        return;
    }
    sys::logText(LOG_INFO, resolved(buffer.data(), keeper.atEntry()).c_str());
}

} // namespace em
