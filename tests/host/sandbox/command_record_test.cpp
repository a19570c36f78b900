// Records of commands: read whole, waited for without looking again and again, and proof against what a job
// leaves.
#include "host/sandbox/command_record.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

namespace volad_dev {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

const std::string kRecord = layout::kCommandRecord;

class CommandRecordTest : public testing::Test {
protected:
    CommandRecordTest() { fs::remove_all(kRecord); }
    ~CommandRecordTest() override { fs::remove_all(kRecord); }
};

TEST_F(CommandRecordTest, AWaitEndsWithTheRealRecordersRecordNotWithItsTime) {
    const CommandRecorder recorder;
    EXPECT_FALSE(recorder.waitForRecord(1ms).has_value());
    const char* const commands = "/sbin/poweroff; cd /tmp && /sbin/reboot -f 'quoted \"text\"'";
    std::thread later([&] { EXPECT_EQ(std::system(commands), 0); });
    const auto begin = std::chrono::steady_clock::now();
    const auto second = recorder.waitForRecord(30s, 1);
    later.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(second->name, "/sbin/reboot");
    EXPECT_EQ(second->commandLine(), "/sbin/reboot -f quoted \"text\"");
    EXPECT_EQ(second->directory, "/tmp");
    EXPECT_EQ(second->blocked, "0000000000000000");
    EXPECT_TRUE(second->descriptors.contains(0));
    EXPECT_NEAR(second->time, static_cast<double>(time(nullptr)), 30);
    EXPECT_EQ(recorder.read().size(), 2U);
    ASSERT_GE(second->ancestors.size(), 2U); // the shell, and who started it
    EXPECT_EQ(second->ancestors[1], getpid());
    EXPECT_TRUE(second->hasAncestor(getpid()));
    EXPECT_FALSE(second->hasAncestor(second->pid));
}

// What a job writes into the file, and how many lines of it are none.
TEST_F(CommandRecordTest, WhatIsNoRecordIsSkippedAndTheNextRecordIsReadAllTheSame) {
    const std::string good =
        R"({"name":"/sbin/halt","file":"/sbin/halt","pid":1,"ancestors":[2],"arguments":[],"time":1,"monotonic":1,)"
        R"("directory":"/","blocked":"0","descriptors":{"0":"x"}})";
    const auto with = [&](const char* part, const char* instead) {
        return std::string(good).replace(good.find(part), std::string(part).size(), instead) + '\n';
    };
    const std::pair<std::string, size_t> texts[] = {{R"({"name":"/sbin/halt"})"
                                                     "\n",
                                                     1},
                                                    {"\n\n", 2},
                                                    {"no JSON\n", 1},
                                                    {R"({"name":"/sbin/ha)", 1},
                                                    {std::string(1000, '\0') + "\n", 1},
                                                    {std::string(100'000, '[') + "\n", 1},
                                                    {"[]\n5\n\"\\u0000\"\n", 3},
                                                    {with("[]", "[1]"), 1},
                                                    {with("[]", "{}"), 1},
                                                    {with("\"0\":", "\"a\":"), 1},
                                                    {with("\"x\"", "7"), 1},
                                                    {with("\"0\":", "\"99999999999\":"), 1},
                                                    {with("{\"0\":\"x\"}", "[]"), 1},
                                                    {with("{\"0\":\"x\"}", "{}"), 0},
                                                    {with("[2]", "[2.5]"), 1},
                                                    {with(":1,\"mono", ":\"1\",\"mono"), 1},
                                                    {with("\"/sbin/halt\"", "null"), 1},
                                                    {good + '\n', 0}};
    for (const auto& [text, lines] : texts) {
        fs::remove(kRecord);
        const CommandRecorder recorder;
        std::ofstream(kRecord) << text;
        ASSERT_EQ(std::system("/sbin/poweroff"), 0);
        size_t skipped = 99;
        const std::vector<CommandRecord> records = recorder.read(&skipped);
        ASSERT_FALSE(records.empty()) << text;
        EXPECT_EQ(records.back().name, "/sbin/poweroff") << text;
        EXPECT_EQ(skipped, lines) << text;
        EXPECT_EQ(records.size(), lines == 0 ? 2U : 1U) << text;
    }
}

TEST_F(CommandRecordTest, NothingInPlaceOfTheFileHangsOrThrows) {
    const CommandRecorder recorder;
    const std::function<void()> replacements[] = {
        [] { ASSERT_EQ(mkfifo(kRecord.c_str(), 0666), 0); },
        [] { fs::create_directory(kRecord); },
        [] { fs::create_symlink(kRecord, kRecord); },
        [] { fs::create_symlink("/dev/zero", kRecord); },
        [] { std::ofstream(kRecord).close(), fs::resize_file(kRecord, uintmax_t{1} << 40); },
    };
    for (const auto& replace : replacements) {
        fs::remove_all(kRecord);
        replace();
        // Whether it can write or not, it ends.
        EXPECT_NE(WEXITSTATUS(std::system("timeout 10 /sbin/poweroff 2>/dev/null")), 124);
        EXPECT_FALSE(recorder.waitForRecord(1ms).has_value());
    }
}

TEST_F(CommandRecordTest, AFileThatWasSeenIsReadOnWhateverBecomesOfItsName) {
    const CommandRecorder recorder;
    const char* const away[] = {"rm /scratch/*", "mv /scratch/command-record.jsonl /scratch/old", "true"};
    for (size_t i = 0; i < std::size(away); ++i) {
        ASSERT_EQ(std::system((std::string("/sbin/reboot; ") + away[i]).c_str()), 0);
        EXPECT_EQ(recorder.read().size(), i + 1);
    }
    EXPECT_FALSE(recorder.wasCut());
    fs::resize_file(kRecord, 0);
    EXPECT_EQ(recorder.read().size(), std::size(away) - 1);
    EXPECT_TRUE(recorder.wasCut());
}

TEST_F(CommandRecordTest, AJobThatFillsTheDirectoryLeavesRoomForTheRecord) {
    const CommandRecorder recorder;
    ASSERT_EQ(std::system("cat /dev/zero > /scratch/full 2>/dev/null; /sbin/poweroff"), 0);
    fs::remove("/scratch/full");
    EXPECT_EQ(recorder.read().size(), 1U);
}

} // namespace
} // namespace volad_dev
