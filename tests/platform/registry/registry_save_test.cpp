// What a save meets in its directory: another writer's lock, a lock file that is none of ours, links and
// other names of the store's own files.
#include <fcntl.h>

#include "platform/registry/registry.h"
#include "platform/registry/registry_lock.h"
#include "platform/registry/registry_reader.h"
#include "support/registry_directory.h"
#include "support/unit_test.h"

namespace em {
namespace {

namespace fs = std::filesystem;

std::string fileWith(const std::string& value) {
    return "[HKEY_USERS]\nv=s=" + value + "\n\n\n";
}

struct RegistrySaveTest : testing::Test {
    RegistrySaveTest() {
        m_directory.write("registry", fileWith("old"));
        m_directory.write("registry.old", fileWith("older"));
        m_directory.load();
    }

    static void Change(const std::string& value) {
        CRegistry key;
        EXPECT_EQ(key.CreateKey(nullptr, "HKEY_USERS"), 0);
        EXPECT_EQ(key.SetValue("v", value.c_str()), 1U);
    }
    static void Read() {
        CRegistry key;
        EXPECT_EQ(key.Open("HKEY_USERS"), 0);
    }
    [[nodiscard]] std::string Main() const { return m_directory.read("registry"); }
    // Nothing was saved, one line told it, a handle that only reads says nothing and saves it once it can.
    void ExpectRefused(const std::string& reason, const std::function<void()>& mend) {
        m_trace.clear();
        Change("new");
        EXPECT_EQ(Main(), fileWith("old"));
        EXPECT_TRUE(m_trace.contains("registry\" failed (" + reason)) << m_trace.text();
        m_trace.clear();
        const int tried = fake::calls("flock");
        Read();
        EXPECT_LE(fake::calls("flock"), tried + 2) << "tried once, and given back";
        EXPECT_EQ(m_trace.text(), "");
        mend();
        Read();
        EXPECT_EQ(Main(), fileWith("new"));
        m_directory.write("registry", fileWith("old"));
    }

    fake::Scope m_script;
    test::TraceCapture m_trace{1};
    test::RegistryDirectory m_directory;
};

TEST_F(RegistrySaveTest, AnotherWritersLockIsWaitedForAWhile) {
    fake::failNth("flock", 1, EWOULDBLOCK, 3);
    Change("old");
    EXPECT_EQ(fake::calls("flock"), 5) << "three in vain, one that had it, one that gave it back";
    EXPECT_EQ(Main(), fileWith("old"));
    EXPECT_EQ(m_directory.read("registry.old"), fileWith("old")) << "saved";

    fake::failNth("flock", 1, EWOULDBLOCK, 0);
    ExpectRefused("lock, error 11", [] { fake::reset(); });
}

TEST_F(RegistrySaveTest, AReaderIsNotHeldUpByAnotherWritersLock) {
    fake::failNth("flock", 1, EWOULDBLOCK, 0);
    std::thread writer([] { Change("new"); });
    while (fake::calls("flock") < 2) {
        std::this_thread::yield();
    }
    {
        const RecursiveLockGuard guard(CRegistry::Lock());
        Read();
    }
    EXPECT_LT(fake::calls("flock"), 200) << "a writer's wait has some 400 tries";
    fake::failNth("flock", 1'000'000, EWOULDBLOCK);
    writer.join();
    EXPECT_EQ(Main(), fileWith("new"));
}

TEST_F(RegistrySaveTest, AChildThatWasForkedUnderTheLockDoesNotKeepIt) {
    const UniqueFd directory(::open(m_directory.pathOf("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    pid_t child = -1;
    {
        RegistryLock lock;
        ASSERT_EQ(lock.tryLock(directory.get()).failedAt, nullptr);
        child = ::fork();
        if (child == 0) {
            ::pause();
            ::_exit(0);
        }
    }
    ASSERT_GT(child, 0);
    Change("new");
    EXPECT_EQ(Main(), fileWith("new")) << m_trace.text();
    ::kill(child, SIGKILL);
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
}

TEST_F(RegistrySaveTest, ALockFileThatOthersMayOpenDoesNotCount) {
    const std::string lock = m_directory.pathOf("registry.lock");
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"the lock file's mode is not 0600", [&] { test::writeFile(lock, ""); }}, // 0755
        {"the lock file belongs to another user", [] { fake::setUserId(::geteuid() + 1); }},
        {"open the lock file, error 40", [&] { fs::create_symlink("registry", lock); }},
        {"open the lock file, error 21", [&] { fs::create_directory(lock); }},
        {"the lock file is no regular file", [&] { ::mkfifo(lock.c_str(), 0600); }}};
    for (const auto& [reason, prepare] : cases) {
        SCOPED_TRACE(reason);
        prepare();
        ExpectRefused(reason, [&] {
            fake::reset();
            fs::remove(lock);
        });
        struct stat made = {};
        ASSERT_EQ(::stat(lock.c_str(), &made), 0);
        EXPECT_EQ(made.st_mode, mode_t{S_IFREG | 0600});
        fs::remove(lock);
    }
}

TEST_F(RegistrySaveTest, ALinkIsReadAndNotReplaced) {
    const std::string main = m_directory.pathOf("registry");
    fs::rename(main, m_directory.pathOf("target"));
    fs::create_symlink("target", main);
    m_directory.load();
    ExpectRefused("it is a symbolic link, error 40", [&] { fs::remove(main); });
    EXPECT_EQ(m_directory.read("target"), fileWith("old"));
}

TEST_F(RegistrySaveTest, WhatStandsUnderTheTemporaryNameIsNotWrittenTo) {
    const std::string temporary = m_directory.pathOf("registry.new");
    m_directory.write("other", "other");
    for (const char* name : {"registry", "registry.old", "other"}) {
        for (const bool hard : {true, false}) {
            SCOPED_TRACE(testing::Message() << name << (hard ? ", a hard link" : ", a symbolic link"));
            const std::string before = Main();
            const std::string target = m_directory.pathOf(name);
            hard ? fs::create_hard_link(target, temporary) : fs::create_symlink(target, temporary);
            Change(name);
            EXPECT_EQ(Main(), fileWith(name));
            EXPECT_EQ(m_directory.read("registry.old"), before);
            EXPECT_EQ(m_directory.read("other"), "other");
            EXPECT_FALSE(fs::is_symlink(fs::symlink_status(temporary)) || fs::exists(temporary));
        }
    }
}

TEST_F(RegistrySaveTest, OnlyAFileSystemThatCannotExchangeIsGivenRenames) {
    for (const int error : {EINVAL, ENOSYS, EOPNOTSUPP, EIO}) {
        fake::failNth("renameat2", 1, error);
        Change(std::to_string(error));
        EXPECT_EQ(Main() == fileWith(std::to_string(error)), error != EIO) << error;
    }
    EXPECT_TRUE(m_trace.contains("registry\" failed (exchange, error 5)")) << m_trace.text();
}

TEST_F(RegistrySaveTest, ABackupThatIsTheMainFileUnderAnotherNameLeavesNothingBehind) {
    fs::remove(m_directory.pathOf("registry.old"));
    fs::create_hard_link(m_directory.pathOf("registry"), m_directory.pathOf("registry.old"));
    Change("new");
    EXPECT_EQ(Main(), fileWith("new"));
    EXPECT_EQ(m_directory.read("registry.old"), fileWith("old"));
    EXPECT_FALSE(m_directory.has("registry.new"));
}

TEST_F(RegistrySaveTest, ATreeThatWouldNotBeReadAgainIsRefused) {
    {
        CRegistry key;
        ASSERT_EQ(key.Open("HKEY_USERS"), 0);
        RegistryEntry large = makeTextEntry("large", REG_TYPE_STRING, std::string(kRegistryLargestFile, 'x'));
        ASSERT_NE(key.Node()->SetValue(large), nullptr);
        EXPECT_EQ(key.SetValue("v", "new"), 1U);
    }
    EXPECT_TRUE(m_trace.contains("failed (the tree is too large, error 27)")) << m_trace.text();
    EXPECT_EQ(Main(), fileWith("old"));
    EXPECT_EQ(m_directory.read("registry.old"), fileWith("older"));
    EXPECT_FALSE(m_directory.has("registry.new"));
    m_directory.load();
}

TEST_F(RegistrySaveTest, WithoutItsDirectoryAChangeIsInMemoryOnly) {
    CRegistry::InitClass("/no/such/directory");
    m_trace.clear();
    Change("new");
    EXPECT_EQ(m_trace.text(),
              "CRegistry: ERROR: Cannot open \"/no/such/directory/registry.new\" for writing\n"
              "CRegistry: ERROR: Saving \"/no/such/directory/registry\" failed (open directory, "
              "error 2), the change is in memory only\n");
    Read();
}

TEST_F(RegistrySaveTest, TheDefaultIsReadAndCarriageReturnsAreNotReplaced) {
    const std::string carriage = "[HKEY_USERS]\r\nv=s=carriage\r\n\r\n\r\n";
    m_directory.write("registry.default", fileWith("factory"));
    for (const bool empty : {true, false}) {
        const std::string main = empty ? "" : carriage;
        m_directory.write("registry", main);
        m_directory.write("registry.old", "");
        m_directory.load();
        CRegistry key;
        std::string text;
        EXPECT_EQ(key.Open("HKEY_USERS"), 0);
        EXPECT_EQ(key.QueryText("v", text), 0);
        EXPECT_EQ(text, empty ? "factory" : "carriage\r");
        Change("new");
        EXPECT_EQ(Main(), empty ? fileWith("new") : main);
        EXPECT_EQ(m_directory.read("registry.default"), fileWith("factory"));
    }
    EXPECT_TRUE(m_trace.contains("could not be read and is not replaced")) << m_trace.text();
}

// Each change is on the disk when its handle has gone, none is lost, and no file is ever torn.
TEST_F(RegistrySaveTest, NoUpdateOfAnotherThreadIsLost) {
    constexpr int kThreads = 4;
    constexpr int kValues = 25;
    const auto change = [&](const std::string& name) {
        {
            CRegistry key;
            key.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\shared");
            key.SetValue(name.c_str(), uint32_t{1});
            CRegistry doomed;
            doomed.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\doomed\\a\\b");
            doomed.SetValue("x", "y");
            doomed.Open("HKEY_LOCAL_MACHINE");
            doomed.DeleteKey("doomed");
        }
        EXPECT_NE(Main().find(name + "=d="), std::string::npos) << "on disk when the handle has gone";
        CRegistryNode read(0);
        readRegistry(Main(), read, [](const RegistryFinding& finding) {
            ADD_FAILURE() << "torn in line " << finding.line << ": " << finding.reason;
        });
    };
    test::inThreads(kThreads, [&](int thread) {
        for (int value = 0; value < kValues; ++value) {
            change(std::to_string(thread) + "." + std::to_string(value));
        }
    });
    m_directory.load();
    CRegistry key;
    ASSERT_EQ(key.Open("HKEY_LOCAL_MACHINE\\shared"), 0);
    EXPECT_EQ(key.Node()->Items().size(), static_cast<size_t>(kThreads * kValues));
}

} // namespace
} // namespace em
