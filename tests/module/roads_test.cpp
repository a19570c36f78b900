// Each road of the module from EM_Create to EM_Delete, against its golden file: every line with its level,
// every message to the host, and the commands, in their order.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "host/command_record.h"
#include "host/sandbox_layout.h"
#include "module/files.h"
#include "module/golden_trace.h"
#include "module/loaded_module.h"
#include "module/recording.h"

namespace module_test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kRoads = EM_ROADS_DIRECTORY;

class Road {
public:
    explicit Road(unsigned traceLevel, const std::function<void(ScriptedHost&)>& prepare = {})
        : m_nLevel(traceLevel), module(traceLevel) {
        if (prepare) {
            prepare(module.host);
        }
        EXPECT_TRUE(module.start());
        // A worker that meets Stop before its first pass would take another road.
        EXPECT_TRUE(recording().waitFor("\"OE\":161"));
    }

    // Until the handler has nothing to do, as far as the level lets one see it.
    void waitUntilIdle() const {
        if (m_nLevel >= 4) {
            EXPECT_TRUE(recording().waitFor("Waiting on task queue for next task", 3)) << recording().shown();
        }
    }

    // Stop, delete, compare.
    void end(const std::string& file) {
        EXPECT_EQ(module.stop(), 1U);
        EXPECT_TRUE(module.destroy());
        const GoldenRoad golden = loadGolden(kRoads, file);
        const auto wanted = golden.find("commands");
        const size_t commandCount = wanted == golden.end() ? 0 : wanted->second.size();
        std::vector<std::string> commands;
        if (commandCount != 0) {
            EXPECT_TRUE(m_Commands.waitForRecord(10s, commandCount - 1));
        }
        for (const volad_dev::CommandRecord& record : m_Commands.read()) {
            commands.push_back(record.commandLine());
        }
        const std::string different = differences(golden, recording().all(), commands, m_nLevel);
        EXPECT_EQ(different, "") << recording().shown();
    }

private:
    const unsigned m_nLevel;
    const volad_dev::CommandRecorder m_Commands;

public:
    HostedModule module;
};

class RoadAtLevel : public testing::TestWithParam<unsigned> {};

TEST_P(RoadAtLevel, Off) {
    writeFile("/scratch/job.sh", "#!/bin/sh\npwd > /scratch/job.done\n");
    Road road(GetParam());
    road.module.host.answer(kDelay, "1");
    road.module.host.answer(kForceDelay, "2");
    road.module.host.answer(kJobName, R"("/scratch/job.sh")");
    road.module.host.answer(kJobDirectory, R"("/tmp")");
    road.module.host.answer(kJobTimeout, "20");
    EXPECT_EQ(road.module.request(R"({"OC":517,"DA":0})"),
              "true " + withCommand(R"({"OC":517,"DA":0,"ST":0})"));
    ASSERT_TRUE(recording().waitFor(R"({"OC":527,"DA":3,"CA":7})"));
    ASSERT_TRUE(GetParam() == 0 || recording().waitFor("THREAD_RETURN")) << "the hard-shutdown thread";
    road.waitUntilIdle();
    road.end("off.golden");
    std::string directory;
    std::ifstream("/scratch/job.done") >> directory;
    EXPECT_EQ(directory, "/tmp");
}

TEST(Roads, ResetByThePowerSwitch) {
    Road road(5);
    EXPECT_EQ(road.module.request(R"({"OC":518,"CA":3,"ST":255,"DA":1})"),
              "true " + withCommand(R"({"OC":518,"CA":3,"ST":0,"DA":1})"));
    ASSERT_TRUE(recording().waitFor("THREAD_RETURN"));
    road.waitUntilIdle();
    road.end("reset.golden");
}

TEST(Roads, HaltByAReply) {
    Road road(5);
    road.module.host.answer(kDelay, "0");
    road.module.host.answer(kForceDelay, "0");
    road.module.reply(R"({"OC":522,"ST":0,"DA":{"RAW":[34]}})");
    road.waitUntilIdle();
    road.end("halt.golden");
}

TEST(Roads, CancelledDuringTheDelay) {
    Road road(5);
    road.module.host.answer(kDelay, "1");
    road.module.host.answer(kForceDelay, "2");
    static_cast<void>(road.module.request(R"({"OC":517,"DA":0})"));
    ASSERT_TRUE(recording().waitFor("Start shutdown delay"));
    EXPECT_EQ(road.module.request(R"({"OC":521})"), "true " + withCommand(R"({"OC":521,"ST":0})"));
    EXPECT_FALSE(recording().contains("exceeded")) << "a cancel does not shorten the delay";
    road.waitUntilIdle();
    road.end("cancelled.golden");
}

TEST(Roads, AbortedAtTheGate) {
    setMaintenance("enabled"); // in lower case, so it is not set
    Road road(5);
    static_cast<void>(road.module.request(R"({"OC":517,"DA":0})"));
    road.waitUntilIdle();
    road.end("aborted.golden");
}

TEST(Roads, StoppedDuringTheDelay) {
    Road road(5);
    road.module.host.answer(kDelay, "1800");
    road.module.host.answer(kForceDelay, "2");
    static_cast<void>(road.module.request(R"({"OC":517,"DA":0})"));
    ASSERT_TRUE(recording().waitFor("Start shutdown delay"));
    const auto begin = std::chrono::steady_clock::now();
    road.end("stopped.golden");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

TEST(Roads, Disconnect) {
    Road road(5);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(road.module.notify(0x30000, 0x11), 1U);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 2s) << "the host waits for the module to be ready";
    road.waitUntilIdle();
    road.end("disconnect.golden");
}

// The settings must be there before Start, whose worker asks at once.
TEST(Roads, Scheduled) {
    Road road(5, [](ScriptedHost& host) {
        host.answer(kDelay, "0");
        host.answer(kForceDelay, "0");
        host.onMessage([&host](uint32_t, Envelope& envelope) {
            if (numberOf(commandOf(envelope), "OE", 0) == kPowerOffTime) {
                const std::time_t now = std::time(nullptr);
                std::tm local{};
                ::localtime_r(&now, &local);
                host.answer(kPowerOffTime, std::to_string(local.tm_hour * 60 + local.tm_min));
            }
        });
    });
    road.waitUntilIdle();
    road.end("schedule.golden");
}

TEST(Roads, AgentsRestart) {
    const bool withServiceManager = ::access(volad_dev::layout::kServiceManager, F_OK) == 0;
    const std::string directory = "/opt/Orlendix/vital/etc/ombrad";
    ASSERT_EQ(::mkdir("/opt/Orlendix", 0755), 0);
    ASSERT_EQ(::mkdir("/opt/Orlendix/vital", 0755), 0);
    ASSERT_EQ(::mkdir("/opt/Orlendix/vital/etc", 0755), 0);
    ASSERT_EQ(::mkdir(directory.c_str(), 0755), 0);
    writeFile(directory + "/ombradAction.file", "something longer than what is written in its place");
    Road road(5);
    if (!withServiceManager) {
        road.module.reply(R"({"OC":551,"ST":0,"DA":5})");
        road.end("agents_restart.golden");
        return;
    }
    road.module.reply(R"({"OC":551,"ST":5,"DA":5})");
    road.end("agents_restart_job_file.golden");
    std::ifstream file(directory + "/ombradAction.file");
    std::string content;
    std::getline(file, content);
    EXPECT_EQ(content, "/usr/sbin/ombrad restart");
    EXPECT_TRUE(file.eof()) << "no line end";
}

INSTANTIATE_TEST_SUITE_P(Levels, RoadAtLevel, testing::Values(0U, 1U, 2U, 3U, 4U, 5U));

} // namespace
} // namespace module_test
