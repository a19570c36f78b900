// What the request handler answers to every code and every shape of an envelope.
#include "module/module_test.h"

namespace em::test {
namespace {

constexpr const char* kNoPending = "\nEM_SHUTDOWN         : ERROR! No pending system shutdown found!";

TEST(Requests, AnswerEnvelopesOfEveryShape) {
    // Where the status cannot be written the envelope stays as it was, and only the result tells.
    constexpr const char* kUnchanged = nullptr;
    const struct {
        const char* sent;
        const char* answered;
        int32_t cursor = 0;
    } cases[] = {
        {"", "null"},
        {"[]", kUnchanged},
        {R"({"V":1})", kUnchanged},
        {R"({"SIP":[1]})", kUnchanged},
        {R"({"SIP":{"V":1}})", kUnchanged},
        {R"({"SIP":{"V":1,"CMD":{}}})", kUnchanged},
        {R"({"SIP":{"V":2,"CMD":[{"OC":517}]}})", R"({"SIP":{"V":2,"CMD":[{"OC":517,"ST":20}]}})"},
        {R"({"SIP":{"V":"1","CMD":[{"OC":517}]}})", R"({"SIP":{"V":"1","CMD":[{"OC":517,"ST":20}]}})"},
        {R"({"SIP":{"V":1,"CMD":[]}})", R"({"SIP":{"V":1,"CMD":[{"ST":1}]}})"},
        {R"({"SIP":{"V":1,"CMD":[17]}})", R"({"SIP":{"V":1,"CMD":[{"ST":1}]}})"},
        {R"({"SIP":{"V":1,"CMD":[{"oc":517}]}})", R"({"SIP":{"V":1,"CMD":[{"oc":517,"ST":1}]}})"},
        {R"({"SIP":{"V":1,"CMD":[{"OC":517}]}})", R"({"SIP":{"V":1,"CMD":[{"OC":517},{},{"ST":1}]}})", 2},
        {R"({"SIP":{"V":1,"CMD":[{"OC":517}]}})", kUnchanged, -1},
        {R"({"SIP":{"V":1,"CMD":[{"OC":517}]}})", kUnchanged, 65537},
    };
    HostedModule module(2);
    for (const auto& [sent, answered, cursor] : cases) {
        recording().clear();
        EXPECT_EQ(module.requestWhole(sent, cursor),
                  std::string("false ") + (answered == kUnchanged ? sent : answered))
            << sent << " at " << cursor;
        EXPECT_EQ(recording().count("EM_SHUTDOWN (REQ)   : "), 1U) << sent;
        EXPECT_EQ(recording().count("EM_SHUTDOWN (RET)   : "), 1U) << sent;
    }
    // At another cursor, and without a version.
    EXPECT_EQ(module.requestWhole(R"({"SIP":{"V":1,"CMD":[{"OC":517},{"OC":527,"DA":"x","ST":9}]}})", 1),
              R"(true {"SIP":{"V":1,"CMD":[{"OC":517},{"OC":527,"DA":0,"ST":0}]}})");
    EXPECT_EQ(module.requestWhole(R"({"SIP":{"CMD":[{"OC":523}]}})"),
              R"(true {"SIP":{"CMD":[{"OC":523,"DA":0,"ST":0}]}})");
    EXPECT_FALSE(callSlot<bool>(module.object, 8, static_cast<Envelope*>(nullptr)));
    EXPECT_EQ(module.status(), 0U) << "none of them asked for a shutdown";
}

TEST(Requests, ReadTheCodeInEveryForm) {
    HostedModule module(0);
    const auto answer = [&](const std::string& code) { return module.request(R"({"OC":)" + code + "}"); };
    // All of these ask for the status, so they change nothing.
    for (const std::string code : {"523", R"("0x20B")", R"("01013")", "4294967819"}) {
        EXPECT_EQ(answer(code), "true " + withCommand(R"({"OC":)" + code + R"(,"DA":0,"ST":0})"));
    }
    for (const std::string code : {"66059", "-523", "null", "true", "[523]", "{}", R"(" 523")", "0", "288",
                                   "290", "516", "519", "520", "524", "525", "526", "528", "65535"}) {
        EXPECT_EQ(answer(code), "false " + withCommand(R"({"OC":)" + code + R"(,"ST":1})"));
    }
    EXPECT_EQ(module.status(), 0U);
}

TEST(Requests, RefuseAHaltAndCancelOnlyWhatIsPending) {
    HostedModule module(2);
    const std::string cancelled = "true " + withCommand(R"({"OC":521,"ST":0})");
    EXPECT_EQ(module.request(R"({"OC":522})"), "true " + withCommand(R"({"OC":522,"ST":25})"));
    EXPECT_EQ(recording().count("\nEM_SHUTDOWN         :  # Request CM_RequestShutdownAndHalt #"), 1U);
    EXPECT_EQ(module.request(R"({"OC":521})"), cancelled);
    EXPECT_EQ(recording().count(kNoPending), 1U);
    EXPECT_EQ(module.status(), 0U);

    EXPECT_EQ(module.request(R"({"OC":518,"ST":255})"), "true " + withCommand(R"({"OC":518,"ST":0})"));
    EXPECT_EQ(module.status(), 1U);
    EXPECT_EQ(module.request(R"({"OC":521})"), cancelled);
    EXPECT_EQ(module.status(), 4U);
    EXPECT_EQ(module.request(R"({"OC":521})"), cancelled);
    EXPECT_EQ(recording().count(kNoPending), 2U);
    EXPECT_EQ(module.status(), 4U);

    const volad_dev::CommandRecorder commands;
    module.host.answer(kDelay, "0");
    ASSERT_TRUE(module.start());
    EXPECT_EQ(module.request(R"({"OC":517})"), "true " + withCommand(R"({"OC":517,"ST":0})"));
    EXPECT_EQ(commandLines(commands, 1), Lines{"/sbin/poweroff"});
    ASSERT_TRUE(recording().waitFor(R"({"OC":527,"DA":3,)"));
    EXPECT_EQ(module.request(R"({"OC":521})"), cancelled);
    EXPECT_EQ(recording().count(
                  "\nEM_SHUTDOWN         : ERROR! Shutdown already in progress and cannot be cancelled"),
              1U);
}

TEST(Requests, AreRefusedInTheQueueAfterStop) {
    HostedModule module(5);
    ASSERT_TRUE(module.start());
    static_cast<void>(module.stop());
    EXPECT_EQ(module.request(R"({"OC":517})"), "true " + withCommand(R"({"OC":517,"ST":0})"));
    EXPECT_EQ(module.status(), 1U) << "nobody takes it back";
    EXPECT_TRUE(
        recording().contains("\nCTaskSerializer     : Manager locked for Tasks at level 0. Task ignored!"));
    EXPECT_EQ(module.notify(0x30000), 1U) << "and the system's shutdown does not wait";
    EXPECT_TRUE(recording().contains("\nEM_SHUTDOWN         : ERROR! InsertTask FAILED!"));
}

TEST(Replies, HaveALineEachAndThreeQueueAShutdown) {
    // A command, its line behind the tag, and whether it queues a shutdown.
    const std::tuple<const char*, std::string, bool> cases[] = {
        {R"({"OC":521})", " #Reply CM_ShutdownRequestCancelled #", false},
        {R"({"OC":551,"ST":5})", " #CM_AgentServiceRestartRequested #", false},
        {R"({"OC":523})", "", false},
        {R"({"OC":1})", "", false},
        {"{}", "", false},
        {R"({"OC":[517]})", "", false},
        {"17", "", false},
        {R"({"OC":517})", " #Reply CM_RequestShutdownAndOff #", true},
        {R"({"OC":518})", " #Reply CM_RequestShutdownAndReset #", true},
        {R"({"OC":522})", " #Reply CM_RequestShutdownAndHalt #", true}};
    const std::string tag = "\nEM_SHUTDOWN         : ";
    HostedModule module(5);
    callSlot<void>(module.object, 7, static_cast<Envelope*>(nullptr));
    for (const auto& [command, line, queues] : cases) {
        recording().clear();
        module.reply(command);
        const std::vector<Record> records = recording().all();
        EXPECT_EQ(records.at(1).text, tag + "  -> ApplicationReply()") << command;
        EXPECT_EQ(records.at(2).text, tag + (line.empty() ? "  <- ApplicationReply()" : line));
        EXPECT_EQ(recording().count("Task at level 0 raised"), queues ? 1U : 0U) << command;
        EXPECT_EQ(module.status(), queues ? 1U : 0U) << command;
    }
}

} // namespace
} // namespace em::test
