// Writes that fail at each of their calls, or are killed there: the file is the old or the new one.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/base/system_twin.h"
#include "platform/profile_string.h"
#include "support/temporary_directory.h"

namespace em {
namespace {

namespace fs = std::filesystem;

const std::string kOld = "[S]\nJ=0\nK=1\n[T]\nX=1\n";
const std::string kNew = "[S]\nJ=0\nK=234567\n[T]\nX=1\n";

class ProfileFaults : public ::testing::Test {
protected:
    uint32_t write() const { return WritePrivateProfileString("S", "K", "234567", m_strFile.c_str()); }
    void writeOld() const { m_Directory.write("profile.ini", kOld); }
    [[nodiscard]] std::string content() const { return m_Directory.read("profile.ini"); }
    [[nodiscard]] bool isClean() const { return !fs::exists(m_Directory.pathOf(".profile.ini.new")); }

    const test::TemporaryDirectory m_Directory;
    const std::string m_strFile = m_Directory.pathOf("profile.ini");
    const twin::Scope m_Scope;
};

// Fails each call of a write once, the first, the second, ... until it is not called that often.
void failEachCall(const std::function<void()>& prepare, const std::function<void()>& check) {
    for (const char* call : {"open", "fstat", "read", "fchown", "fchmod", "write", "pwrite",
                             "posix_fallocate", "ftruncate", "fsync", "rename"}) {
        for (int nth = 1;; ++nth) {
            twin::reset();
            prepare();
            const int before = twin::calls(call);
            twin::failNth(call, nth, ENOSPC);
            SCOPED_TRACE(std::string(call) + " " + std::to_string(nth));
            check();
            if (twin::calls(call) - before < nth) {
                break;
            }
        }
    }
}

TEST_F(ProfileFaults, EachFailingCallLeavesTheOldFile) {
    const auto unlinked = [this] { fs::remove(m_strFile); };
    const auto linkedTwice = [this] {
        writeOld();
        fs::remove(m_Directory.pathOf("twin.ini"));
        fs::create_hard_link(m_strFile, m_Directory.pathOf("twin.ini"));
    };
    const struct {
        const char* what;
        std::function<void()> prepare;
        std::string before;
        std::string after;
        int failures; // at least
    } ways[] = {
        {"replaced", [this] { writeOld(); }, kOld, kNew, 8},
        {"in place", linkedTwice, kOld, kNew, 6},
        {"made", unlinked, "", "\n[S]\n\nK=234567\n", 5},
    };
    for (const auto& way : ways) {
        SCOPED_TRACE(way.what);
        int failures = 0;
        failEachCall(way.prepare, [&] {
            const uint32_t result = write();
            failures += result == 0 ? 1 : 0;
            EXPECT_EQ(result == 1 ? way.after : way.before, content());
            EXPECT_TRUE(isClean());
        });
        EXPECT_GE(failures, way.failures);
    }
}

std::atomic<int> callsToLive{0};

void killAtZero(const char*) {
    if (callsToLive-- == 0) {
        ::kill(::getpid(), SIGKILL);
    }
}

TEST_F(ProfileFaults, KilledAtAnyCallTheFileIsOldOrNew) {
    int killed = 0;
    int old = 0;
    for (bool done = false; !done;) {
        writeOld();
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            callsToLive = killed;
            twin::watch(killAtZero);
            ::_exit(write() == 1 ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(child, ::waitpid(child, &status, 0));
        done = WIFEXITED(status);
        killed += done ? 0 : 1;
        const std::string found = content();
        EXPECT_TRUE(found == kOld || found == kNew) << killed;
        old += found == kOld ? 1 : 0;
    }
    EXPECT_GE(killed, 10);
    EXPECT_GE(old, 8);
    EXPECT_EQ(kNew, content());
    EXPECT_TRUE(isClean()) << "the left-overs of the kills go with the next write";
}

TEST_F(ProfileFaults, InterruptedCallsGoOnAlsoInPlace) {
    writeOld();
    twin::failNth("read", 1, EINTR);
    twin::failNth("write", 1, EINTR);
    EXPECT_EQ(1u, write());
    EXPECT_EQ(kNew, content());
    fs::create_hard_link(m_strFile, m_Directory.pathOf("twin.ini"));
    twin::failNth("pwrite", 1, EINTR);
    EXPECT_EQ(1u, WritePrivateProfileString("S", nullptr, nullptr, m_strFile.c_str()));
    EXPECT_EQ("[T]\nX=1\n", m_Directory.read("twin.ini"));
}

TEST_F(ProfileFaults, NoRegularFileIsRefused) {
    ASSERT_EQ(0, ::mkfifo(m_Directory.pathOf("fifo").c_str(), 0600));
    EXPECT_EQ(0u, WritePrivateProfileString("S", "K", "1", m_Directory.pathOf("fifo").c_str()));
    EXPECT_EQ(0u, WritePrivateProfileString("S", "K", "1", m_Directory.path().c_str()));
}

} // namespace
} // namespace em
