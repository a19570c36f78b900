#include "frame/extension_module.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "frame/cabinet_number.h"
#include "frame/host_interface.h"
#include "frame/json_text.h"
#include "frame/sip_json.h"
#include "support/scripted_host.h"
#include "support/trace_capture.h"

namespace em::test {
namespace {

// A module that keeps every slot of the base.
class PlainModule : public CExtensionModule {};

SipJson command(uint32_t code) {
    SipJson envelope;
    envelope.InitEnvelope();
    envelope.SetOpcode(code, 0, 0);
    return envelope;
}

TEST(ExtensionModule, UnknownNotificationWritesOnlyTheFrame) {
    PlainModule module;
    const TraceCapture trace(4);
    EXPECT_EQ(module.Notify(0x51234, 0x1'0000'00AB, 7), 0U);
    EXPECT_EQ(trace.text(), "\n\nEM_XXX              : ## NOTIFY: Code = 0Xx51234, param = 0x000000AB"
                            "\nEM_XXX              :   call OnModuleNotification()..."
                            "\nEM_XXX              :   ... OnModuleNotification() completed");
}

TEST(ExtensionModule, KnownNotificationsHaveTheirLines) {
    const struct {
        uint32_t code;
        const char* lines;
    } cases[] = {
        {0x20000, "\nEM_XXX              : *** SCN_SWITCH_SHUTDOWN *** \n"
                  "\nEM_XXX              : -> SWITCH shutdown notification, set SwitchShutdown flag"},
        {0x20001,
         "\nEM_XXX              : *** SCN_SWITCH_REQUEST_ENABLED *** \n"
         "\nEM_XXX              : -> SWITCH start completed (all layers started) - requests enabled"},
        {0x30000,
         "\nEM_XXX              : *** SCN_SYSTEM_SHUTDOWN *** \n\nEM_XXX              : -> System shutdown"},
        {0x40000, "\nEM_XXX              : *** SCN_POWERSTATE_SUSPEND *** \n"},
        {0x40001, "\nEM_XXX              : *** SCN_POWERSTATE_STANDBY *** \n"},
        {0x40002, "\nEM_XXX              : *** SCN_POWERSTATE_RESUME *** \n"},
        {0x40003, "\nEM_XXX              : *** SCN_POWERSTATE_AC_OFFLINE *** \n"},
        {0x40004, "\nEM_XXX              : *** SCN_POWERSTATE_AC_ONLINE *** \n"},
    };
    for (const auto& row : cases) {
        PlainModule module;
        const TraceCapture trace(2);
        EXPECT_EQ(module.Notify(row.code, 0, 0), 0U);
        const std::string text = trace.text();
        EXPECT_EQ(text.substr(text.find("0x00000000") + 10), row.lines);
    }
}

TEST(ExtensionModule, BaseRefusesRequests) {
    PlainModule module;
    SipJson request = command(517);
    EXPECT_FALSE(module.HandleRequest(&request));
    EXPECT_EQ(request.GetUint("ST", 22), 1U);
    EXPECT_FALSE(module.HandleRequest(nullptr));
}

TEST(ExtensionModule, SendWithoutHostGivesStatusSix) {
    PlainModule module;
    SipJson message = command(513);
    module.SendMessage(message, kRequestTimeoutMs);
    EXPECT_EQ(json::compactText(message.root), R"({"SIP":{"V":1,"CMD":[{"OC":513,"ST":6}]}})");
}

TEST(ExtensionModule, SendFillsInTheCabinetNumberWhereThereIsNone) {
    PlainModule module;
    ScriptedHost host;
    host.attachTo(&module);
    const TraceCapture trace(2);
    EXPECT_EQ(module.SetCabinetNumber(12), 1U);
    EXPECT_TRUE(cabinetNumberKnown());
    EXPECT_EQ(trace.text(), "\n\nEM_XXX              : ## Server cabinet number = 12 ##\n");

    SipJson first = command(513);
    module.SendMessage(first, kNotification);
    SipJson second = command(513);
    module.SendMessageForCabinet(second, kRequestTimeoutMs, 3);
    SipJson third = command(513);
    module.SendMessageWithId(third, kRequestTimeoutMs, 0x10002);
    EXPECT_EQ(host.messages(),
              (std::vector<std::string>{R"(notification {"SIP":{"V":1,"CMD":[{"OC":513,"CA":12}]}})",
                                        R"(request {"SIP":{"V":1,"CMD":[{"OC":513,"CA":3}]}})",
                                        R"(request {"SIP":{"V":1,"CMD":[{"OC":513,"MI":65538,"CA":12}]}})"}));
}

TEST(ExtensionModule, EventLogSourceDependsOnTheHostsKind) {
    for (const auto& [kind, source] :
         {std::pair{5, "Tellmark Agentless Service"}, {4, "Tellmark Host Warden"}}) {
        PlainModule module;
        ScriptedHost host;
        host.setKind(kind);
        host.attachTo(&module);
        const TraceCapture trace(3);
        EXPECT_TRUE(module.Start());
        const std::string name(source);
        EXPECT_EQ(trace.text(), "\nEM_XXX              : Register event log source \"" + name +
                                    "\" ...\nEM_XXX              : ... event log source \"" + name +
                                    "\" registered");
    }
}

TEST(ExtensionModule, ThrowingHostCountsAsSilent) {
    PlainModule module;
    ScriptedHost host;
    host.answer([](SipJson&, uint32_t) { throw std::runtime_error("host"); });
    host.attachTo(&module);
    const TraceCapture trace(1);
    SipJson message = command(513);
    module.SendMessage(message, kRequestTimeoutMs);
    EXPECT_EQ(trace.text(), "\n\nEM_SHUTDOWN         : ## EXCEPTION in the host's send message! ##");
}

TEST(ExtensionModule, ThrowingDebugObjectStaysInside) {
    PlainModule module;
    TraceCapture trace(5);
    trace.throwOn("NOTIFY");
    EXPECT_EQ(module.Notify(0x30000, 0, 0), 0U);
    EXPECT_TRUE(trace.contains("## EXCEPTION in Notify()! ##"));
}

} // namespace
} // namespace em::test
