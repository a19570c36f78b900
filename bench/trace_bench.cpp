// What a trace line costs: switched off beside one predicted branch, switched on beside the bare formatting.
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "base/system_fake.h"
#include "bench/comparison.h"
#include "contract/debug_object.h"
#include "contract/places.h"
#include "trace/trace.h"

namespace em::bench {
namespace {

constexpr int kRounds = 101;
constexpr char kLine[] = "\nEM_SHUTDOWN         : line %d of %s";

std::array<char, 1024> buffer;
std::atomic<bool> off{false};

[[gnu::format(printf, 1, 2), gnu::noinline]] void formatLine(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    va_end(arguments);
}

class HostDebug : public DebugObject {
    bool takesLines() override { return true; }
    void print(const char* /*format*/, va_list /*arguments*/, const char* /*moduleName*/) override {}
    [[gnu::format(printf, 2, 0)]] void trace(const char* format, va_list arguments,
                                             const char* /*moduleName*/) override {
        std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    }
};

void configure(const char* level) {
    static HostDebug host;
    fake::setSymbol(kDebugSymbol, &host);
    fake::setPath(place::kTraceConfigDirectory, "/nonexistent");
    ::setenv("TM_LOG_DEBUG_LEVEL", level, 1);
    require(processTrace.value.Configure("EM_SHUTDOWN"), "the trace's configuration");
}

} // namespace

void addComparisons() {
    compare("line switched off / one predicted branch", kRounds, [] {
        configure("0");
        require(!traceEnabled(), "the trace is off");
        return Pair{timed(200'000,
                          [number = 0]() mutable {
                              EM_TRACE(5, kLine, number, "something");
                              benchmark::DoNotOptimize(++number);
                          }),
                    timed(200'000, [number = 0]() mutable {
                        if (off.load(std::memory_order_relaxed)) {
                            formatLine(kLine, number, "something");
                        }
                        benchmark::DoNotOptimize(++number);
                    })};
    });
    compare("line switched on / vsnprintf", kRounds, [] {
        configure("5");
        require(traceWillWrite(5), "the trace is on");
        return Pair{timed(5'000, [number = 0]() mutable { EM_TRACE(5, kLine, ++number, "something"); }),
                    timed(5'000, [number = 0]() mutable { formatLine(kLine, ++number, "something"); })};
    });
}

} // namespace em::bench
