// Writes that fail at each of their calls, or are killed there: the file is the old or the new one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/base/system_twin.h"
#include "platform/profile_string.h"
#include "support/temporary_directory.h"

namespace em {
namespace {

const std::string kOld = "[S]\nJ=0\nK=1\n[T]\nX=1\n";
const std::string kNew = "[S]\nJ=0\nK=234567\n[T]\nX=1\n";

class ProfileFaults : public ::testing::Test {
protected:
    void SetUp() override { m_Directory.write("profile.ini", kOld); }

    uint32_t write() const { return WritePrivateProfileString("S", "K", "234567", m_strFile.c_str()); }
    [[nodiscard]] std::string content() const { return m_Directory.read("profile.ini"); }
    [[nodiscard]] long filesThere() const {
        return std::distance(std::filesystem::directory_iterator(m_Directory.path()), {});
    }

    test::TemporaryDirectory m_Directory;
    const std::string m_strFile = m_Directory.path() + "/profile.ini";
    const twin::Scope m_Scope;
};

// The errors that say "no other file can take its place" lead to a write in place instead.
void failEachCall(const std::function<void()>& prepare, const std::function<void(const char*)>& check) {
    for (const char* call : {"open", "fstat", "read", "fchown", "fchmod", "write", "pwrite",
                             "posix_fallocate", "ftruncate", "fsync", "rename"}) {
        for (int nth = 1;; ++nth) {
            twin::reset();
            prepare();
            const int before = twin::calls(call);
            twin::failNth(call, nth, ENOSPC);
            SCOPED_TRACE(std::string(call) + " " + std::to_string(nth));
            check(call);
            if (twin::calls(call) - before < nth) {
                break;
            }
        }
    }
}

TEST_F(ProfileFaults, EachFailingCallLeavesTheOldFile) {
    int failures = 0;
    failEachCall([this] { m_Directory.write("profile.ini", kOld); },
                 [&](const char*) {
                     const uint32_t result = write();
                     failures += result == 0 ? 1 : 0;
                     EXPECT_EQ(result == 1 ? kNew : kOld, content());
                     EXPECT_EQ(1, filesThere());
                 });
    EXPECT_GE(failures, 8);
}

TEST_F(ProfileFaults, EachFailingCallInPlaceLeavesTheOldFile) {
    std::filesystem::create_hard_link(m_strFile, m_Directory.pathOf("twin.ini"));
    int failures = 0;
    failEachCall([this] { m_Directory.write("profile.ini", kOld); },
                 [&](const char* call) {
                     const uint32_t result = write();
                     failures += result == 0 ? 1 : 0;
                     EXPECT_EQ(result == 1 ? kNew : kOld, content()) << call;
                     EXPECT_EQ(content(), m_Directory.read("twin.ini"));
                 });
    EXPECT_GE(failures, 6);
}

TEST_F(ProfileFaults, FailingCreationLeavesNothing) {
    int failures = 0;
    failEachCall([this] { std::filesystem::remove(m_strFile); },
                 [&](const char*) {
                     const uint32_t result = write();
                     failures += result == 0 ? 1 : 0;
                     EXPECT_EQ(result == 1 ? "\n[S]\n\nK=234567\n" : "", content());
                     EXPECT_EQ(result == 1 ? 1 : 0, filesThere());
                 });
    EXPECT_GE(failures, 5);
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
        m_Directory.write("profile.ini", kOld);
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
    EXPECT_EQ(1, filesThere()); // the left-overs of the kills are gone with the next write
}

TEST_F(ProfileFaults, InterruptedCallsGoOn) {
    for (const char* call : {"read", "write"}) {
        m_Directory.write("profile.ini", kOld);
        twin::failNth(call, 1, EINTR);
        EXPECT_EQ(1u, write());
        EXPECT_EQ(kNew, content());
    }
}

struct InPlaceCase {
    const char* call;
    int nth;
    int error;
};

TEST_F(ProfileFaults, InPlaceWhereNoOtherFileCanTakeThePlace) {
    for (const InPlaceCase& row :
         {InPlaceCase{"open", 2, EACCES}, InPlaceCase{"open", 2, EROFS}, InPlaceCase{"fchown", 1, EPERM},
          InPlaceCase{"fchown", 1, EINVAL}, InPlaceCase{"rename", 1, EBUSY}}) {
        SCOPED_TRACE(row.call);
        twin::reset();
        m_Directory.write("profile.ini", kOld);
        struct stat before;
        ASSERT_EQ(0, ::stat(m_strFile.c_str(), &before));
        twin::failNth(row.call, row.nth, row.error);
        EXPECT_EQ(1u, write());
        struct stat after;
        ASSERT_EQ(0, ::stat(m_strFile.c_str(), &after));
        EXPECT_EQ(before.st_ino, after.st_ino);
        EXPECT_EQ(kNew, content());
        EXPECT_EQ(1, filesThere());
        EXPECT_EQ(1u, WritePrivateProfileString("S", nullptr, nullptr, m_strFile.c_str()));
        EXPECT_EQ("[T]\nX=1\n", content());
    }
}

TEST_F(ProfileFaults, LinksAndModesStay) {
    ASSERT_EQ(0, ::chmod(m_strFile.c_str(), 0640));
    std::filesystem::create_symlink("profile.ini", m_Directory.pathOf("link.ini"));
    std::filesystem::create_symlink(m_Directory.pathOf("made.ini"), m_Directory.pathOf("dangling.ini"));
    EXPECT_EQ(1u, WritePrivateProfileString("S", "K", "234567", m_Directory.pathOf("link.ini").c_str()));
    EXPECT_EQ(1u, WritePrivateProfileString("S", "K", "1", m_Directory.pathOf("dangling.ini").c_str()));
    struct stat status;
    ASSERT_EQ(0, ::stat(m_strFile.c_str(), &status));
    EXPECT_EQ(0640u, status.st_mode & ALLPERMS);
    EXPECT_EQ(kNew, content());
    EXPECT_EQ("\n[S]\n\nK=1\n", m_Directory.read("made.ini"));
    EXPECT_TRUE(std::filesystem::is_symlink(m_Directory.pathOf("link.ini")));
    EXPECT_TRUE(std::filesystem::is_symlink(m_Directory.pathOf("dangling.ini")));
}

TEST_F(ProfileFaults, NoRegularFileIsRefused) {
    ASSERT_EQ(0, ::mkfifo(m_Directory.pathOf("fifo").c_str(), 0600));
    EXPECT_EQ(0u, WritePrivateProfileString("S", "K", "1", m_Directory.pathOf("fifo").c_str()));
    EXPECT_EQ(0u, WritePrivateProfileString("S", "K", "1", m_Directory.path().c_str()));
}

} // namespace
} // namespace em
