// A run as JSON: what is written reads back, and whatever a text holds, JSON is what comes out.
#include "host/run/run_json.h"

#include <gtest/gtest.h>

#include "host/run/known_run.h"

namespace volad_dev {
namespace {

ShutdownRun example() {
    ShutdownRun run;
    run.end = RunEnd::Cancelled;
    run.asAsked = true;
    run.asked = {"request", "reset", 3, "due\xFF"};
    run.gate = {"on", "missing"};
    run.job = JobRun{"/job \"x\"\n", "/d", true, 3, std::nullopt, false, 1.5, {"one\ttwo", "\x80"}};
    run.command = CommandRun{"/sbin/reboot", 2.25, "/"};
    run.phases = {{"gate", 0, 0.125}, {"delay", 0.125, 3}};
    run.messages = {{-0.5, false, R"({"SIP":{"V":1}})"}, {0, true, R"({"SIP":{"CMD":[]}})"}};
    run.statuses = {{0.5, 1}, {1, 5}};
    run.left = {{"a b", 7}};
    run.warnings = {{"code", "text"}};
    return run;
}

TEST(RunJsonTest, WhatIsWrittenReadsBack) {
    const std::string written = runJson(example());
    const std::optional<ShutdownRun> read = readRunJson(written);
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(runJson(*read), written);
    EXPECT_EQ(read->end, RunEnd::Cancelled);
    EXPECT_EQ(read->asked.reasonText, "due\\xFF");
    EXPECT_EQ(read->job->command, "/job \"x\"\n");
    EXPECT_EQ(read->job->output, (std::vector<std::string>{"one\ttwo", "\\x80"}));
    EXPECT_EQ(read->messages[0].at, -0.5);
    EXPECT_TRUE(read->messages[1].toModule);
    EXPECT_EQ(read->left[0].bytes, 7U);
}

TEST(RunJsonTest, OtherTextIsNoRunAndOddMembersKeepTheirDefault) {
    const auto nested = [](size_t depth) {
        return R"({"schema": 1, "end": "\"[[", "left": )" + std::string(depth, '[') +
               std::string(depth, ']') + '}';
    };
    for (const std::string& text :
         {std::string(), std::string("[]"), std::string("{}"), std::string(R"({"schema": 2})"),
          std::string(R"({"schema": 1)"), std::string("{\"schema\": 1, \"end\": \"\xFF\"}"), nested(100),
          nested(1'000'000)}) {
        EXPECT_FALSE(readRunJson(text).has_value()) << text.substr(0, 100);
    }
    EXPECT_TRUE(readRunJson(nested(99)).has_value());
    const std::optional<ShutdownRun> odd = readRunJson(
        R"({"schema":1,"end":"?","asAsked":1,"job":[],"phases":{},"left":[1,{"file":2}],"messages":[{}]})");
    ASSERT_TRUE(odd.has_value());
    EXPECT_EQ(odd->end, RunEnd::Interrupted);
    EXPECT_FALSE(odd->asAsked || odd->job);
    EXPECT_EQ(odd->left.size(), 1U);
    EXPECT_EQ(odd->messages[0].envelope, "{}");
}

TEST(RunJsonTest, WhatCanBeNoTimeOfARunIsNotKnown) {
    const std::optional<ShutdownRun> read = readRunJson(
        R"({"schema":1,"asked":{"reason":1e308},"job":{"seconds":-1},"command":{"seconds":1e308},"phases":[
            {"start":-1e308,"seconds":1e308},{"start":-1,"seconds":-1}],"statuses":[{"at":1e8,"value":300}],
            "left":[{"bytes":1e308}]})");
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->asked.reason + read->statuses[0].value + read->left[0].bytes, 0U);
    const KnownRun run = knownRun(*read);
    EXPECT_FALSE(run.job->seconds || run.command->seconds || run.statuses[0].at);
    EXPECT_FALSE(run.phases[0].start || run.phases[0].seconds || run.phases[1].seconds);
    EXPECT_EQ(run.phases[1].start, -1);
}

} // namespace
} // namespace volad_dev
