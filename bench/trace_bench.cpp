// What a trace line costs: switched off against one predicted branch, switched on against the bare
// formatting.
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "base/system_fake.h"
#include "bench/paired_rounds.h"
#include "contract/places.h"
#include "trace/trace.h"

namespace {

std::array<char, 1024> buffer;
std::atomic<bool> off{false};

__attribute__((format(printf, 2, 0))) void writeLine(void*, const char* format, va_list arguments,
                                                     const char*) {
    std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
}

__attribute__((format(printf, 1, 2), noinline)) void formatLine(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    va_end(arguments);
}

bool isOutputSink(void*) {
    return true;
}

struct HostDebug {
    std::array<void*, 9> table{};
    void** firstWord = table.data();
    HostDebug() {
        table[2] = reinterpret_cast<void*>(&isOutputSink);
        table[8] = reinterpret_cast<void*>(&writeLine);
    }
};

} // namespace

int main() {
    static HostDebug host;
    em::fake::setSymbol("Debug", &host.firstWord);
    em::fake::setPath(em::place::kTraceConfigDirectory, "/nonexistent");

    constexpr int kDisabledCalls = 200000;
    em::bench::print("disabled line to one predicted branch",
                     em::bench::comparePaired(
                         kDisabledCalls,
                         [](int i) { EM_TRACE(5, "\nEM_SHUTDOWN         : line %d of %s", i, "something"); },
                         [](int i) {
                             if (off.load(std::memory_order_relaxed)) {
                                 formatLine("\nEM_SHUTDOWN         : line %d of %s", i, "something");
                             }
                         }),
                     1.5);

    ::setenv("TM_LOG_DEBUG_LEVEL", "5", 1);
    if (!em::processTrace.value.Configure("EM_SHUTDOWN") || !em::traceEnabled()) {
        return EXIT_FAILURE;
    }
    constexpr int kEnabledCalls = 5000;
    em::bench::print("enabled line to vsnprintf",
                     em::bench::comparePaired(
                         kEnabledCalls,
                         [](int i) { EM_TRACE(5, "\nEM_SHUTDOWN         : line %d of %s", i, "something"); },
                         [](int i) { formatLine("\nEM_SHUTDOWN         : line %d of %s", i, "something"); }),
                     1.15);
    return EXIT_SUCCESS;
}
