// Many cycles, many requests, many threads: what only shows by number. The suite takes a short time for each;
// --cycles=N and --seconds=N go on (ctest -L long).
#include <set>

#include "module/module_test.h"
#include "rig/arguments.h"
#include "rig/left_behind.h"

namespace em::test {
namespace {

constexpr uint32_t kSwitchShutdown = 0x20000;
constexpr uint32_t kResume = 0x40002;

// Loaded, created, started, stopped, deleted, unloaded.
void cycle() {
    HostedModule module(1);
    ASSERT_TRUE(module.start());
    module.afterStart();
    ASSERT_EQ(module.stop(), 1U);
    ASSERT_TRUE(module.destroy());
}

TEST(Endurance, CyclesLeaveNothing) {
    cycle(); // what the process keeps for good
    const LeftBehind left;
    for (uint64_t cycles = argumentOr("cycles", 50); cycles > 0; --cycles) {
        recording().clear();
        cycle();
    }
    EXPECT_EQ(left.difference(), "");
}

TEST(Endurance, AFullQueueAnswersAndRefusesEachOfTenThousandRequests) {
    constexpr size_t kRequests = 10'000;
    constexpr size_t kHeld = 9;
    recording().clear();
    const volad_dev::CommandRecorder commands;
    HostedModule module(1);
    module.host.answer(kDelay, "1800");
    ASSERT_TRUE(module.start());
    module.request(R"({"OC":517})");
    ASSERT_TRUE(recording().waitFor(R"("OE":5889)")); // the first one is in its delay from here on
    for (size_t i = 0; i < kRequests; ++i) {
        ASSERT_EQ(module.request(R"({"OC":518,"DA":0})"),
                  "true " + withCommand(R"({"OC":518,"DA":0,"ST":0})"));
    }
    EXPECT_EQ(recording().count("Task queue for priority 0 is full"), kRequests - kHeld);
    EXPECT_EQ(module.status(), 1U);
    EXPECT_EQ(module.stop(), 1U);
    EXPECT_EQ(commandLines(commands, 0), Lines{});
}

// One step of a host thread: whatever a host may do at any time, but for what shuts the queue.
void step(HostedModule& module, size_t number) {
    switch (number % 8) {
    case 0:
        module.request(R"({"OC":517,"DA":0})");
        break;
    case 1:
        module.request(R"({"OC":521})");
        break;
    case 2:
        module.reply(R"({"OC":522,"ST":0,"DA":9})");
        break;
    case 3:
        EXPECT_LE(module.status(), 5U);
        break;
    case 4:
        callSlot<unsigned>(module.object, 10, static_cast<uint32_t>(number));
        break;
    case 5:
        EXPECT_EQ(module.notify(number % 16 == 5 ? kSwitchShutdown : kResume), 1U);
        break;
    case 6:
        module.request(R"({"OC":518,"DA":1})");
        break;
    default:
        module.request(R"({"OC":519})");
        break;
    }
}

// With the gate shut each request is withdrawn and the queue stays open; with it open the first one that
// nobody cancels shuts it.
std::vector<std::string> hammer(const char* gate, std::chrono::milliseconds span) {
    constexpr int kThreads = 8;
    setMaintenance(gate);
    recording().clear();
    CommandLog commands;
    HostedModule module(1);
    module.host.answer(kDelay, "0");
    EXPECT_TRUE(module.start());
    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&module, &over, thread] {
            for (size_t number = static_cast<size_t>(thread); !over; ++number) {
                step(module, number);
                if (number % 4096 == 0) {
                    recording().clear(); // it is not looked at, and grows
                }
            }
        });
    }
    std::this_thread::sleep_for(span);
    over = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(module.stop(), 1U);
    return commands.take();
}

TEST(Endurance, EightThreadsOnTheSlotsLeaveNothing) {
    const std::set<std::string> known = {"/sbin/poweroff", "/sbin/reboot", "/sbin/halt"};
    const auto end = Clock::now() + std::chrono::seconds(argumentOr("seconds", 1));
    EXPECT_EQ(hammer("Disabled", 100ms), Lines{});
    const LeftBehind left;
    do {
        const std::vector<std::string> commands = hammer("Enabled", 300ms);
        EXPECT_FALSE(commands.empty()) << "a shutdown that nobody cancelled";
        for (const std::string& command : commands) {
            EXPECT_TRUE(known.contains(command)) << command;
        }
        EXPECT_EQ(hammer("Disabled", 300ms), Lines{});
    } while (Clock::now() < end);
    EXPECT_EQ(left.difference(), "");
}

} // namespace
} // namespace em::test
