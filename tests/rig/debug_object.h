// The debug object of the host process, which the module finds by the symbol "Debug" alone: it calls three of
// the slots. This one puts what it gets into the recording.
#pragma once

#include <cstdarg>

namespace em::test {

class RecordingDebugObject final {
public:
    virtual void unusedSlot0() {}
    virtual void unusedSlot1() {}
    virtual bool isOutputSink() { return true; }
    virtual void unusedSlot3() {}
    virtual void unusedSlot4() {}
    virtual void unusedSlot5() {}
    virtual void unusedSlot6() {}
    [[gnu::format(printf, 2, 0)]] virtual void print(const char* format, va_list arguments,
                                                     const char* module);
    [[gnu::format(printf, 2, 0)]] virtual void trace(const char* format, va_list arguments,
                                                     const char* module);
};

} // namespace em::test
