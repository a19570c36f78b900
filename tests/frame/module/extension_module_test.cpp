#include "contract/host_interface.h"
#include "frame/module/extension_module.h"

#include "frame/envelope/sip_json.h"
#include "frame/json/json_text.h"
#include "frame/module/cabinet_number.h"
#include "frame/module/host_interface.h"
#include "rig/scripted_host.h"
#include "support/unit_test.h"

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
    recording().clear();
    PlainModule module;
    ScriptedHost host;
    host.attachTo(&module);
    EXPECT_EQ(module.SetCabinetNumber(12), 1U);
    EXPECT_TRUE(cabinetNumberKnown());
    SipJson first = command(513);
    module.SendMessage(first, kNotification);
    SipJson second = command(513);
    module.SendMessageForCabinet(second, kRequestTimeoutMs, 3);
    SipJson third = command(513);
    module.SendMessageWithId(third, kRequestTimeoutMs, 0x10002);
    EXPECT_EQ(recording().hostCalls(),
              (std::vector<std::string>{R"(0 {"SIP":{"V":1,"CMD":[{"OC":513,"CA":12}]}})",
                                        R"(5000 {"SIP":{"V":1,"CMD":[{"OC":513,"CA":3}]}})",
                                        R"(5000 {"SIP":{"V":1,"CMD":[{"OC":513,"MI":65538,"CA":12}]}})"}));
}

} // namespace
} // namespace em::test
