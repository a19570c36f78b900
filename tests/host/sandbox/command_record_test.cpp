// Records of commands: read whole, and waited for without looking again and again.
#include "host/sandbox/command_record.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

namespace volad_dev {
namespace {

using namespace std::chrono_literals;

class CommandRecordTest : public testing::Test {
protected:
    CommandRecordTest() { std::filesystem::remove(layout::kCommandRecord); }
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
}

TEST_F(CommandRecordTest, ALineThatIsNotWholeYetIsNoRecord) {
    const CommandRecorder recorder;
    std::ofstream file(layout::kCommandRecord);
    file << R"({"name":"/sbin/halt")" << std::flush;
    EXPECT_FALSE(recorder.waitForRecord(1ms).has_value());
    file << '}' << std::endl;
    EXPECT_TRUE(recorder.read().empty());
    EXPECT_EQ(recorder.garbled(), 1U);
}

} // namespace
} // namespace volad_dev
