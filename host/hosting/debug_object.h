// The debug object of this process: modules find it by the global symbol "Debug" and hand it every line they
// trace.
#pragma once

#include <cstdarg>
#include <functional>
#include <string>

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

// The slot order is the contract: 2 tells whether the object takes lines, 7 writes a plain line, 8 a trace
// line.
class DebugObject {
public:
    DebugObject() = default;
    DebugObject(const DebugObject&) = delete;
    DebugObject& operator=(const DebugObject&) = delete;
    virtual ~DebugObject() = default;          // 0, 1
    virtual bool takesLines() { return true; } // 2
    virtual void reserved3() {}
    virtual void reserved4() {}
    virtual void reserved5() {}
    virtual void reserved6() {}
    virtual void print(const char* format, va_list arguments, const char* moduleName); // 7
    virtual void trace(const char* format, va_list arguments, const char* moduleName); // 8
};

} // namespace volad_dev
