// The binary contract with the host, called by slot number and offset: exports, table, fields, life cycle.
#include <sys/syscall.h>

#include <cstdlib>

#include "module/module_test.h"

namespace {

// Whether the module's pauses for its task handler to start and to end, 0.1 s each, are over at once.
std::atomic<bool> pausesPass = false;

} // namespace

// In place of libc's for the module, too: it binds to what the executable exports.
extern "C" int clock_nanosleep(clockid_t clock, int flags, const timespec* request, timespec* remaining) {
    ::pthread_testcancel(); // a cancellation point, as libc's own
    return pausesPass || ::syscall(SYS_clock_nanosleep, clock, flags, request, remaining) == 0 ? 0 : errno;
}

namespace em::test {
namespace {

// What was said since the last call, host calls marked, events' lines left out.
Lines takeLines() {
    Lines lines;
    for (const Record& record : recording().all()) {
        if (record.text.find("event 0x") == std::string::npos) {
            lines.push_back((record.kind == Kind::HostCall ? "> " : "") + withVisibleNewlines(record.text));
        }
    }
    recording().clear();
    return lines;
}

size_t entriesOf(const char* directory) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(directory), {}));
}

// A sanitizer starts a thread of its own with the first one of the program's.
size_t threadsBeforeTheModule() {
    std::thread([] {}).join();
    return entriesOf("/proc/self/task");
}

TEST(Exports, CreateGivesTheOneModuleAndDeleteTakesIt) {
    const LoadedModule library(2);
    EXPECT_STREQ(library.name(), "EM_SHUTDOWN");
    EXPECT_EQ(library.destroy(), 0U);
    EXPECT_EQ(takeLines(), (Lines{R"(\nEM DLL (EM_SHUTDOWN) : Module already destroyed!)"}));

    EXPECT_FALSE(library.create(nullptr));
    takeLines();
    EXPECT_EQ(library.destroy(), 0U) << "nothing was created for nobody";
    takeLines();

    void* first = nullptr;
    void* second = nullptr;
    EXPECT_TRUE(library.create(&first, 42));
    EXPECT_EQ(takeLines(), (Lines{R"(\nEM DLL (EM_SHUTDOWN) : Create module)"}));
    EXPECT_TRUE(library.create(&second));
    EXPECT_EQ(takeLines(), (Lines{R"(\nEM DLL (EM_SHUTDOWN) : ## ERROR: Module already existing!\n)"}));
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(first, second);

    EXPECT_EQ(library.destroy(), 1U);
    EXPECT_EQ(takeLines().back(), R"(\nEM DLL (EM_SHUTDOWN) : .. Module destroyed successfully!)");
    EXPECT_EQ(library.destroy(), 0U);
    EXPECT_STREQ(library.name(), "EM_SHUTDOWN");
}

TEST(Exports, SetupActionOnlyWritesItsLine) {
    const LoadedModule library(1);
    const std::string tag = R"(\n\nEM_SHUTDOWN         : ## )";
    const std::string unknown = "ERROR! Setup action call with unknown action type (";
    const std::pair<uint32_t, std::string> rows[] = {{1, R"(Setup action "BACKUP" call)"},
                                                     {2, R"(Setup action "RESTORE" call)"},
                                                     {3, R"(Setup action "CONVERT" call)"},
                                                     {4, R"(Setup action "CLEANUP" call)"},
                                                     {0, unknown + "0)"},
                                                     {5, unknown + "5)"},
                                                     {0xFFFFFFFF, unknown + "-1)"}};
    for (const auto& [code, shown] : rows) {
        const char* const end =
            code - 1 < 4 ? R"( - no action function defined\n)" : R"( - no action defined!\n)";
        EXPECT_EQ(library.setupAction(code), 1U);
        EXPECT_EQ(takeLines(), Lines{tag + shown + end});
    }
}

TEST(Exports, DeleteKeepsTheModuleWhenTheTraceThrowsBeforeIt) {
    const LoadedModule library(1);
    void* object = nullptr;
    ASSERT_TRUE(library.create(&object));
    recording().throwOn("Destroy module...");
    EXPECT_EQ(library.destroy(), 0U);
    EXPECT_EQ(takeLines().back(), R"(\nEM DLL (EM_SHUTDOWN) : ## ERROR! Exception while destroying module!)");
    recording().throwOn("");
    void* again = nullptr;
    recording().throwOn("already existing");
    EXPECT_TRUE(library.create(&again));
    EXPECT_EQ(again, object) << "the line is dropped, the answer is not";
    recording().throwOn("destroyed successfully!");
    EXPECT_EQ(library.destroy(), 0U) << "though it is gone by then";
    recording().throwOn("");
    EXPECT_EQ(library.destroy(), 0U);
    EXPECT_EQ(takeLines().back(), R"(\nEM DLL (EM_SHUTDOWN) : Module already destroyed!)");
}

TEST(Library, IsUnloadedAndLeavesNoThreadAndNoDescriptorOverAHundredLives) {
    pausesPass = true;
    size_t threads = 0;
    size_t descriptors = 0;
    for (int life = 0; life < 100; ++life) {
#ifndef EM_SANITIZED // a sanitizer keeps its hold on the library
        ASSERT_EQ(readFile("/proc/self/maps").find("em_shutdown.so"), std::string::npos);
#endif
        HostedModule module(0);
        ASSERT_NE(readFile("/proc/self/maps").find("em_shutdown.so"), std::string::npos);
        ASSERT_TRUE(module.start());
        module.afterStart();
        ASSERT_EQ(module.stop(), 1U);
        ASSERT_TRUE(module.destroy());
        if (life == 0) { // what the first life opens for good is no leak
            threads = entriesOf("/proc/self/task");
            descriptors = entriesOf("/proc/self/fd");
        }
    }
    pausesPass = false;
    EXPECT_EQ(entriesOf("/proc/self/task"), threads);
    EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
}

#ifndef EM_SANITIZED // to which a module that is still at work at the exit is a leak
constexpr int kQuiet = 7;
HostedModule* atWork = nullptr;

// Registered before the library is loaded, so it runs behind the library's own tear-down.
void askBehindTheTearDown() {
    recording().clear();
    static_cast<void>(atWork->status());
    std::_Exit(recording().contains("(REQ)") ? 1 : kQuiet);
}

// Its threads are still there while the process takes itself down, and the debug object may be gone.
TEST(Library, LetsAHostExitWithoutStopAndWritesNothingMore) {
    const auto leave = [] {
        std::atexit(askBehindTheTearDown);
        atWork = new HostedModule(5);
        atWork->host.answer(kDelay, "1800");
        static_cast<void>(atWork->start());
        atWork->afterStart();
        static_cast<void>(atWork->request(R"({"OC":517,"DA":0})"));
        if (!recording().waitFor("Start shutdown delay")) {
            std::_Exit(1);
        }
        std::exit(0);
    };
    EXPECT_EXIT(leave(), testing::ExitedWithCode(kQuiet), "");
}
#endif

TEST(Table, HasTheFieldsAtTheirOffsets) {
    LoadedModule library(0);
    void* object = nullptr;
    ASSERT_TRUE(library.create(&object));
    EXPECT_EQ(fieldAt<void*>(object, 8), nullptr) << "the host fills in its pointer";
    EXPECT_EQ(fieldAt<uint32_t>(object, 16), 0U);
    EXPECT_EQ(fieldAt<uint8_t>(object, 20), 0);

    // The second base's own table: after the two destructors its task execution, which adjusts the object.
    void* const serializer = static_cast<std::byte*>(object) + 24;
    ASSERT_NE(fieldAt<void*>(object, 24), nullptr);
    Envelope ignored(withCommand(R"({"OC":600})"));
    callSlot<void, void*, int>(serializer, 2, &ignored, 0);
    callSlot<void, void*, int>(object, 24, &ignored, 0);
    EXPECT_EQ(textOf(ignored), withCommand(R"({"OC":600})"));
    EXPECT_EQ(library.destroy(), 1U);
}

TEST(Table, AnswersInEachSlot) {
    HostedModule module(5);
    takeLines();
    EXPECT_STREQ(callSlot<const char*>(module.object, 2), "OS system shutdown handling module");
    EXPECT_STREQ(callSlot<const char*>(module.object, 14), "EM_SHUTDOWN");
    EXPECT_EQ(callSlot<unsigned>(module.object, 3), 1U);
    for (const size_t slot : {9U, 11U, 12U, 19U, 20U, 21U, 22U}) {
        EXPECT_EQ(callSlot<unsigned>(module.object, slot), 0U) << slot;
    }
    for (const size_t slot : {15U, 16U, 17U, 18U}) {
        callSlot<void>(module.object, slot);
    }
    EXPECT_EQ(takeLines(), Lines{});
    EXPECT_EQ(callSlot<unsigned>(module.object, 10, uint32_t{12}), 1U);
    EXPECT_EQ(takeLines(), Lines{R"(\n\nEM_SHUTDOWN         : ## Server cabinet number = 12 ##\n)"});
    module.host.setKind(5);
    EXPECT_TRUE(module.start());
    EXPECT_TRUE(recording().contains("Register event log source \"Tellmark Agentless Service\" ..."));
}

TEST(Notifications, ReachTheModuleWhateverTheirCode) {
    const std::string tag = R"(\nEM_SHUTDOWN         : )";
    const Lines disable = {tag + "Disable Power switch notifications!",
                           R"(> 5000 {"SIP":{"V":1,"CMD":[{"OC":281,"CA":7,"ST":22,"DA":0}]}})",
                           tag + "Power switch notifications disabled!"};
    const Lines enable = {tag + "Enable Power switch notifications!",
                          R"(> 5000 {"SIP":{"V":1,"CMD":[{"OC":281,"CA":7,"ST":22,"DA":1}]}})",
                          tag + "Power switch notifications enabled!"};
    const char* const enabled = "-> SWITCH start completed (all layers started) - requests enabled";
    const char* const switched = "-> SWITCH shutdown notification, set SwitchShutdown flag";
    const std::tuple<uint32_t, const char*, unsigned, Lines, Lines> cases[] = {
        {0x20001, "20001", 0, {R"(*** SCN_SWITCH_REQUEST_ENABLED *** \n)", enabled}, {}},
        {0x40000, "40000", 1, {R"(*** SCN_POWERSTATE_SUSPEND *** \n)"}, disable},
        {0x40001, "40001", 1, {R"(*** SCN_POWERSTATE_STANDBY *** \n)"}, disable},
        {0x40002, "40002", 1, {R"(*** SCN_POWERSTATE_RESUME *** \n)"}, enable},
        {0x40003, "40003", 0, {R"(*** SCN_POWERSTATE_AC_OFFLINE *** \n)"}, {}},
        {0x40004, "40004", 0, {R"(*** SCN_POWERSTATE_AC_ONLINE *** \n)"}, {}},
        {0x2, "02", 0, {}, {}},
        {0x20000, "20000", 1, {R"(*** SCN_SWITCH_SHUTDOWN *** \n)", switched}, disable},
    };
    HostedModule module(5);
    for (const auto& [code, shownCode, result, announced, done] : cases) {
        takeLines();
        EXPECT_EQ(fieldAt<uint8_t>(module.object, 20), 0);
        EXPECT_EQ(module.notify(code, 0x1234567890), result);
        Lines expected = {R"(\n)" + tag + "## NOTIFY: Code = 0Xx" + shownCode + ", param = 0x34567890"};
        for (const std::string& line : announced) {
            expected.push_back(tag + line);
        }
        expected.push_back(tag + "  call OnModuleNotification()...");
        expected.insert(expected.end(), done.begin(), done.end());
        expected.push_back(tag + "  ... OnModuleNotification() completed");
        Lines actual = takeLines();
        std::erase_if(actual, [](const std::string& line) { // of the property that is asked for
            return line.find("ModuleConfigFile") != std::string::npos ||
                   line.find("CRegistry") != std::string::npos;
        });
        EXPECT_EQ(actual, expected);
    }
    EXPECT_EQ(fieldAt<uint8_t>(module.object, 20), 1) << "set by the last one";
    module.afterStart();
    EXPECT_EQ(takeLines(), Lines{}) << "no watcher once the host switches";
}

TEST(LifeCycle, StopWithoutStartAndTwice) {
    HostedModule module(5);
    for (const bool started : {false, true}) {
        if (started) {
            ASSERT_TRUE(module.start());
            EXPECT_EQ(module.stop(), 1U);
        }
        takeLines();
        EXPECT_EQ(module.stop(), 1U);
        const Lines lines = takeLines();
        ASSERT_EQ(lines.size(), 2U) << "nothing to stop";
        EXPECT_EQ(lines[1], R"(\n### Stopping module EM_SHUTDOWN ###\n)");
    }
}

TEST(LifeCycle, SecondStartStartsNoSecondThreadAndDeleteWithoutStopEndsAll) {
    const size_t before = threadsBeforeTheModule();
    HostedModule module(5);
    for (size_t starts = 1; starts <= 2; ++starts) {
        EXPECT_TRUE(module.start());
        module.afterStart();
        EXPECT_EQ(entriesOf("/proc/self/task"), before + 3);
        EXPECT_EQ(recording().count("completed successfully"), starts);
    }
    EXPECT_TRUE(module.destroy());
    EXPECT_EQ(entriesOf("/proc/self/task"), before);
    EXPECT_EQ(recording().count("EXIT THREAD"), 3U);
}

TEST(LifeCycle, WorksWithoutAHost) {
    LoadedModule library(5);
    void* object = nullptr;
    ASSERT_TRUE(library.create(&object));
    EXPECT_TRUE(callSlot<bool>(object, 4));
    EXPECT_TRUE(recording().contains("event log source \"Tellmark Host Warden\" registered"));
    EXPECT_EQ(callSlot<unsigned>(object, 5), 1U);
    EXPECT_EQ(library.destroy(), 1U);
    EXPECT_EQ(recording().hostCalls(), Lines{});
}

} // namespace
} // namespace em::test
