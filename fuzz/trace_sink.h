// The debug object of the process, which the product finds by its symbol: keeps what it is handed.
#pragma once

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/system_fake.h"
#include "contract/debug_object.h"
#include "contract/module_interface.h"
#include "contract/places.h"
#include "trace/debug_client.h"

namespace fuzz {

struct TracedLine {
    const char* format;
    std::string text;
};

class TraceSink final : public em::DebugObject {
public:
    bool takesLines() override { return true; }
    [[gnu::format(printf, 2, 0)]] void print(const char* format, va_list arguments,
                                             const char* module) override {
        trace(format, arguments, module);
    }
    [[gnu::format(printf, 2, 0)]] void trace(const char* format, va_list arguments,
                                             const char* /*module*/) override {
        va_list again;
        va_copy(again, arguments);
        std::array<char, 512> start;
        const int length = std::vsnprintf(start.data(), start.size(), format, arguments);
        std::string text(start.data(), std::min(start.size() - 1, static_cast<size_t>(std::max(length, 0))));
        if (static_cast<size_t>(length) >= start.size()) {
            text.resize(static_cast<size_t>(length));
            std::vsnprintf(text.data(), text.size() + 1, format, again);
        }
        va_end(again);
        lines.push_back({format, std::move(text)});
    }

    std::vector<TracedLine> lines;
};

// Switches the trace on for its lifetime. In the script of the fake, so behind its Scope.
class Trace {
public:
    explicit Trace(unsigned level) {
        em::fake::setSymbol(em::kDebugSymbol, &sink());
        em::fake::setPath(em::place::kTraceConfigDirectory, "/nonexistent");
        em::processTrace.value.Print("%s", ""); // finds the sink, once for the process
        configure(level);
        sink().lines.clear();
    }
    ~Trace() { configure(0); }
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    [[nodiscard]] std::vector<TracedLine>& lines() { return sink().lines; }

private:
    static TraceSink& sink() {
        static TraceSink& instance = *new TraceSink;
        return instance;
    }
    static void configure(unsigned level) {
        ::setenv(em::place::kTraceLevelVariable, std::to_string(level).c_str(), 1);
        static_cast<void>(em::processTrace.value.Configure(em::kModuleName));
        ::unsetenv(em::place::kTraceLevelVariable);
    }
};

} // namespace fuzz
