// The debug object of the host process: the module finds it by its symbol alone and calls three of its slots.
#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "module/recording.h"

namespace module_test {
namespace {

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list arguments) {
    std::array<char, 8192> text;
    std::vsnprintf(text.data(), text.size(), format, arguments);
    return text.data();
}

} // namespace

class DebugObject {
public:
    virtual void unusedSlot0() {}
    virtual void unusedSlot1() {}
    virtual bool isOutputSink() { return true; }
    virtual void unusedSlot3() {}
    virtual void unusedSlot4() {}
    virtual void unusedSlot5() {}
    virtual void unusedSlot6() {}
    __attribute__((format(printf, 2, 0))) virtual void print(const char* format, va_list arguments,
                                                             const char* module) {
        add(Kind::Print, format, arguments, module);
    }
    __attribute__((format(printf, 2, 0))) virtual void trace(const char* format, va_list arguments,
                                                             const char* module) {
        add(Kind::Trace, format, arguments, module);
    }

protected:
    ~DebugObject() = default;

private:
    __attribute__((format(printf, 2, 0))) static void add(Kind kind, const char* format, va_list arguments,
                                                          const char* module) {
        const bool ours = std::string("EM_SHUTDOWN") == module;
        recording().add(kind, (ours ? "" : "wrong module name: ") + formatted(format, arguments));
    }
};

class RecordingDebugObject final : public DebugObject {};

} // namespace module_test

// The name is the interface.
extern module_test::RecordingDebugObject Debug;
__attribute__((visibility("default"))) constinit module_test::RecordingDebugObject Debug;
