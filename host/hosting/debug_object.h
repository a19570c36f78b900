// The debug object of this process: modules find it by the global symbol "Debug" and hand it every line they
// trace.
#pragma once

#include <functional>
#include <string>

#include "contract/debug_object.h"

namespace volad_dev {

// Takes whole lines, without the line breaks around them; called by any thread, under locks of the module, so
// it must neither call back into the module nor wait for one of its threads.
using TraceSink = std::function<void(const std::string& line)>;

// While it lives, lines go to the sink; without one they are dropped. One at a time.
class TraceSinkScope {
public:
    explicit TraceSinkScope(TraceSink sink);
    TraceSinkScope(const TraceSinkScope&) = delete;
    TraceSinkScope& operator=(const TraceSinkScope&) = delete;
    ~TraceSinkScope();
};

class LineSplitter final : public em::DebugObject {
public:
    bool takesLines() override { return true; }
    void print(const char* format, va_list arguments, const char* moduleName) override;
    void trace(const char* format, va_list arguments, const char* moduleName) override;
};

} // namespace volad_dev
