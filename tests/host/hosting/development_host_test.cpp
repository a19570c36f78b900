// The host as the module reaches it: by slot numbers, with answers in the envelope that it sent.
#include "host/hosting/development_host.h"

#include <gtest/gtest.h>

#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "frame/envelope/sip_json.h"
#include "host/hosting/debug_object.h"

extern "C" volad_dev::LineSplitter Debug;

namespace volad_dev {
namespace {

// As the module's compiler does it: through the table, by number.
template <class Result, class... Arguments>
Result callSlot(void* object, unsigned slot, Arguments... arguments) {
    void** const table = *static_cast<void***>(object);
    return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

em::SipJson message(uint32_t opcode, uint32_t extension = 0, uint32_t objectId = 0) {
    em::SipJson envelope;
    envelope.InitEnvelope();
    envelope.SetCommand(opcode, extension, objectId, 1, em::status::kKeep);
    return envelope;
}

em::SipJson send(DevelopmentHost& host, em::SipJson envelope) {
    callSlot<void>(static_cast<em::HostObject*>(&host), 9, static_cast<void*>(nullptr), &envelope,
                   uint32_t{5000});
    return envelope;
}

Settings example() {
    Settings settings;
    settings.hostKind = 5;
    settings.shutdownDelay = 7;
    settings.jobName = "/x/job";
    settings.powerOffTimes[0] = 15;
    settings.powerOffTimes[3] = 1290;
    return settings;
}

TEST(DevelopmentHostTest, SettingsAreAnsweredWithStatusAndDataOrWithoutBoth) {
    DevelopmentHost host(example());
    const struct {
        uint32_t item, day;
        std::optional<uint32_t> answer;
    } cases[] = {
        {em::setting::kShutdownDelay.item, 0, 7},           {em::setting::kForceDelay.item, 0, std::nullopt},
        {em::setting::kJobTimeout.item, 0, std::nullopt},   {em::setting::kPowerOffTime.item, 0, 15},
        {em::setting::kPowerOffTime.item, 3, 1290},         {em::setting::kPowerOffTime.item, 4, 65535},
        {em::setting::kPowerOffTime.item, 7, std::nullopt}, {0x1702, 0, std::nullopt}};
    for (const auto& each : cases) {
        const em::SipJson reply = send(host, message(em::opcode::kHostSettings, each.item, each.day));
        uint32_t value = 0;
        EXPECT_EQ(reply.HasValidData(), each.answer.has_value()) << each.item;
        EXPECT_EQ(reply.GetDataUint(value), each.answer.has_value()) << each.item;
        EXPECT_EQ(value, each.answer.value_or(0)) << each.item;
        EXPECT_EQ(reply.GetUint(em::key::Status, 99), each.answer ? 0U : 1U) << each.item;
    }
    std::string name;
    EXPECT_TRUE(
        send(host, message(em::opcode::kHostSettings, em::setting::kJobName.item)).GetAnswerText(name));
    EXPECT_EQ(name, "/x/job");
    em::HostObject* const object = &host;
    callSlot<void>(object, 11, static_cast<void*>(nullptr), true);
    EXPECT_EQ(callSlot<int>(object, 27), example().hostKind);
}

[[gnu::format(printf, 2, 3)]] void callDebug(unsigned slot, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    callSlot<void, const char*, va_list, const char*>(&Debug, slot, format, arguments, "module");
    va_end(arguments);
}

TEST(DebugObjectTest, LinesComeWholeThroughTheRawSlots) {
    std::vector<std::string> lines;
    {
        const TraceSinkScope scope([&](const std::string& line) { lines.push_back(line); });
        EXPECT_TRUE(callSlot<bool>(&Debug, 2));
        callDebug(8, "\n\nfirst %d\n", 1);
        callDebug(7, "second\n\nthird %s", std::string(3000, 'x').c_str());
        callDebug(8, "\n");
    }
    callDebug(8, "%s", "nobody listens");
    EXPECT_EQ(lines, (std::vector<std::string>{"first 1", "second", "third " + std::string(3000, 'x')}));
}

} // namespace
} // namespace volad_dev
