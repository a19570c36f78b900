// The classes that a host derives from have their virtual functions where the module calls them by number.
#include <gtest/gtest.h>

#include <string>

#include "contract/debug_object.h"
#include "contract/host_interface.h"
#include "contract/module_interface.h"

namespace em {
namespace {

template <class Result, class... Arguments>
Result callSlot(void* object, unsigned slot, Arguments... arguments) {
    void** const table = *static_cast<void***>(object);
    return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

struct Host final : HostObject {
    void sendMessage(CIExtensionModule*, SipJson*, uint32_t timeoutMs) override {
        said += "message " + std::to_string(timeoutMs) + ';';
    }
    void notice(CIExtensionModule*, bool value) override { said += value ? "notice;" : ""; }
    int kind() override { return kAgentlessService; }
    std::string said;
};

TEST(Slots, OfTheHostObject) {
    Host host;
    void* const module = nullptr;
    callSlot<void>(&host, 9, module, module, kRequestTimeoutMs);
    callSlot<void>(&host, 11, module, true);
    EXPECT_EQ(host.said, "message 5000;notice;");
    EXPECT_EQ(callSlot<int>(&host, 27), 5);
}

struct Debug final : DebugObject {
    bool takesLines() override { return true; }
    void print(const char* format, va_list, const char*) override { said += std::string("print ") + format; }
    void trace(const char* format, va_list, const char*) override { said += std::string("trace ") + format; }
    std::string said;
};

TEST(Slots, OfTheDebugObject) {
    Debug debug;
    va_list none = {};
    EXPECT_TRUE(callSlot<bool>(&debug, 2));
    callSlot<void, const char*, va_list, const char*>(&debug, 7, "a;", none, "");
    callSlot<void, const char*, va_list, const char*>(&debug, 8, "b;", none, "");
    EXPECT_EQ(debug.said, "print a;trace b;");
}

} // namespace
} // namespace em
