// The host's debug object, to which every trace line is handed: the object that the global symbol "Debug" of
// the host's program is (link it with -rdynamic). Looked for at the first line, and kept for good once found.
//
// Called by any thread, also under locks of the module: it must neither call back into the module nor wait
// for one of its threads. It lives longer than the library is loaded. Whether it takes lines is asked at each
// line until the answer is true, and then no more. What it throws costs the line, not the shutdown.
//
// Format and arguments are those of vprintf. Most lines begin with their line break, some end with one, some
// have both. The module's name lives as long as the library.
#pragma once

#include <cstdarg>

namespace em {

// The slot order is the contract.
class DebugObject {
public:
    DebugObject() = default;
    DebugObject(const DebugObject&) = delete;
    DebugObject& operator=(const DebugObject&) = delete;
    virtual ~DebugObject() = default; // 0, 1
    virtual bool takesLines() = 0;    // 2: false, and the object is passed over
    virtual void reserved3() {}
    virtual void reserved4() {}
    virtual void reserved5() {}
    virtual void reserved6() {}
    virtual void print(const char* format, va_list arguments, const char* moduleName) = 0; // 7: a plain line
    virtual void trace(const char* format, va_list arguments, const char* moduleName) = 0; // 8: a trace line
};

// The slots by number: the module calls them through the raw table.
namespace debug_slot {
inline constexpr unsigned kTakesLines = 2;
inline constexpr unsigned kPrint = 7;
inline constexpr unsigned kTrace = 8;
} // namespace debug_slot

inline constexpr char kDebugSymbol[] = "Debug";

} // namespace em
