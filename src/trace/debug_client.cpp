#include "trace/debug_client.h"

#include "base/errno_keeper.h"
#include "base/swallow.h"
#include "base/system.h"
#include "base/system_log.h"
#include "base/virtual_slot.h"
#include "contract/debug_object.h"

namespace em {

constinit NeverDestroyed<CDebugClient> processTrace;

namespace {

// A symbol of that name in the module itself would make it write to itself.
bool liesInThisLibrary(const void* address) {
    Dl_info theirs{};
    Dl_info ours{};
    return sys::dladdr(address, &theirs) != 0 && sys::dladdr(&processTrace, &ours) != 0 &&
           theirs.dli_fbase == ours.dli_fbase;
}

bool qualifies(void* object) {
    return object != nullptr && !liesInThisLibrary(object) && *static_cast<void**>(object) != nullptr &&
           callSlot<bool>(object, debug_slot::kTakesLines);
}

} // namespace

void* CDebugClient::LookUpHostDebug() {
    const ErrnoKeeper keeper; // a "%m" in the format shows what the line's writer met
    // The program first; then what was loaded behind this library, for a host that is a library itself.
    for (void* const scope : {RTLD_DEFAULT, RTLD_NEXT}) {
        void* const found = sys::dlsym(scope, kDebugSymbol);
        if (qualifies(found)) {
            m_hostDebug = found;
            return found;
        }
    }
    return nullptr;
}

void CDebugClient::HandToHost(unsigned slot, const char* format, va_list arguments) {
    void* const known = m_hostDebug;
    if (void* const host = known != nullptr ? known : LookUpHostDebug()) {
        callSlot<void>(host, slot, format, arguments, ModuleName());
    }
}

namespace {

// Ends an argument list also when the host's debug object throws.
struct ArgumentList {
    va_list list;
    ~ArgumentList() { va_end(list); }
};

} // namespace

void CDebugClient::Trace(uint32_t level, const char* format, ...) {
    const ErrnoKeeper keeper;
    ArgumentList arguments;
    va_start(arguments.list, format);
    Write(level, keeper.atEntry(), format, arguments.list);
}

void CDebugClient::TraceQuietly(uint32_t level, const char* format, ...) {
    const ErrnoKeeper keeper;
    ArgumentList arguments;
    va_start(arguments.list, format);
    static_cast<void>(swallow([&] { Write(level, keeper.atEntry(), format, arguments.list); }));
}

// Level first: what is not written is not looked up either.
void CDebugClient::Write(uint32_t level, int error, const char* format, va_list arguments) {
    if (!WillWrite(level) || format == nullptr) {
        return;
    }
    if (level != 0) {
        HandToHost(debug_slot::kTrace, format, arguments);
        return;
    }
    // Copied before the first use: a list may be walked once only.
    ArgumentList forLog;
    va_copy(forLog.list, arguments);
    HandToHost(debug_slot::kTrace, format, arguments);
    errno = error; // the host may have changed it
    writeSystemLog(format, forLog.list);
}

void CDebugClient::Print(const char* format, ...) {
    const ErrnoKeeper keeper;
    ArgumentList arguments;
    va_start(arguments.list, format);
    PrintQuietly(format, arguments.list);
}

void CDebugClient::PrintTagged(uint64_t /*ignored*/, const char* format, ...) {
    const ErrnoKeeper keeper;
    ArgumentList arguments;
    va_start(arguments.list, format);
    PrintQuietly(format, arguments.list);
}

void CDebugClient::PrintQuietly(const char* format, va_list arguments) {
    static_cast<void>(swallow([&] { HandToHost(debug_slot::kPrint, format, arguments); }));
}

} // namespace em
