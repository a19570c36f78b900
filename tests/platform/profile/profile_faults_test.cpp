// Writes that are killed at each of their calls, that meet others, links and access lists: the file is the
// old or the new one. Where a call fails, the roads of shutdown/roads.cpp show it.
#include <signal.h>
#include <sys/xattr.h>

#include "base/clock.h"
#include "platform/profile/profile_string.h"
#include "support/unit_test.h"

namespace em {
namespace {

namespace fs = std::filesystem;

const std::string kOld = "[S]\nJ=0\nK=1\n[T]\nX=1\n";
const std::string kNew = "[S]\nJ=0\nK=234567\n[T]\nX=1\n";

struct ProfileFaults : test::UnitTest {
    uint32_t write() const { return WritePrivateProfileString("S", "K", "234567", m_file.c_str()); }
    void writeOld() const { m_files.write("profile.ini", kOld); }
    [[nodiscard]] std::string content() const { return m_files.read("profile.ini"); }
    // Files beside those that a test names.
    [[nodiscard]] std::ptrdiff_t leftOvers() const {
        return std::distance(fs::directory_iterator(m_files.path()), {}) - fs::exists(m_file) -
               fs::exists(m_link);
    }

    const std::string m_file = m_files.pathOf("profile.ini");
    const std::string m_link = m_files.pathOf("other_name.ini");
};

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
            fake::watch(killAtZero);
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
    EXPECT_GT(leftOvers(), 0) << "somebody's, as far as a later writer can tell";
}

TEST_F(ProfileFaults, WritersAtOnceLoseNothing) {
    constexpr int kWriters = 3;
    constexpr int kEach = 60;
    for (int writer = 0; writer < kWriters; ++writer) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        for (int i = 0; child == 0 && i <= kEach; ++i) {
            const std::string key = "k" + std::to_string(writer) + "." + std::to_string(i);
            if (i == kEach || WritePrivateProfileString("S", key.c_str(), "1", m_file.c_str()) == 0) {
                ::_exit(i == kEach ? 0 : 1);
            }
        }
    }
    for (int status = -1; ::waitpid(-1, &status, 0) > 0;) {
        EXPECT_EQ(status, 0);
    }
    const std::string found = content();
    EXPECT_EQ(std::count(found.begin(), found.end(), '='), kWriters * kEach);
    EXPECT_EQ(leftOvers(), 0);
}

// Any reader can hold the lock, so it keeps a writer out for two seconds only.
TEST_F(ProfileFaults, ALockThatIsNeverGivenUpIsDoneWithout) {
    writeOld();
    fake::failNth("flock", 1, EWOULDBLOCK, 0);
    fake::leapTime();
    const int64_t begin = Deadline::nowNs();
    EXPECT_EQ(1u, write());
    const int64_t waitedNs = Deadline::nowNs() - begin;
    EXPECT_GE(waitedNs, 2'000'000'000);
    EXPECT_LT(waitedNs, 3'000'000'000);
    EXPECT_EQ(kNew, content());
}

TEST_F(ProfileFaults, WhatStandsBesideTheFileStays) {
    writeOld();
    const std::string theirs = ".profile.ini." + std::to_string(::getpid()) + "-1.new";
    m_files.write(theirs, "somebody's");
    EXPECT_EQ(1u, write());
    EXPECT_EQ(kNew, content());
    EXPECT_EQ(m_files.read(theirs), "somebody's");
    EXPECT_EQ(leftOvers(), 1);
}

// Who owns a link chooses where a write of root would go, at any moment.
TEST_F(ProfileFaults, RootFollowsNoLinkOfAnotherUser) {
    struct ForeignLinks : fake::Files {
        int fstat(int fd, struct stat* status) override {
            const int result = fake::Files::fstat(fd, status);
            status->st_uid = S_ISLNK(status->st_mode) ? 1234 : status->st_uid;
            return result;
        }
    } files;
    m_files.write("system.ini", kOld);
    fs::create_symlink("system.ini", m_file);
    fake::setFiles(&files);
    fake::setUserId(0);
    EXPECT_EQ(0u, write());
    EXPECT_EQ(m_files.read("system.ini"), kOld);
    fake::setUserId(1234);
    EXPECT_EQ(1u, write());
    EXPECT_EQ(m_files.read("system.ini"), kNew);
}

// The link is swapped when the path has been resolved: the write stays where it was led to first.
TEST_F(ProfileFaults, ASwappedLinkLeadsNowhereElse) {
    static std::string link;
    static std::string elsewhere;
    fs::create_directory(m_files.pathOf("a"));
    m_files.write("a/led_to.ini", kOld);
    m_files.write("system.ini", kOld);
    link = m_file;
    elsewhere = m_files.pathOf("system.ini");
    fs::create_symlink(m_files.pathOf("a/led_to.ini"), link);
    fake::watch([](const char* call) {
        if (std::string_view(call) == "flock") {
            fs::remove(link);
            fs::create_symlink(elsewhere, link);
        }
    });
    EXPECT_EQ(1u, write());
    fake::watch(nullptr);
    EXPECT_EQ(m_files.read("a/led_to.ini"), kNew);
    EXPECT_EQ(m_files.read("system.ini"), kOld);
    EXPECT_TRUE(fs::is_symlink(link));
}

// Access: the owner everything, root reading, the group and the mask the same, others nothing.
TEST_F(ProfileFaults, AFileWithAnAccessListKeepsIt) {
    writeOld();
    constexpr char kList[] = "\x02\0\0\0"
                             "\x01\0\x06\0\xFF\xFF\xFF\xFF"
                             "\x02\0\x04\0\0\0\0\0"
                             "\x04\0\x04\0\xFF\xFF\xFF\xFF"
                             "\x10\0\x04\0\xFF\xFF\xFF\xFF"
                             "\x20\0\0\0\xFF\xFF\xFF\xFF";
    if (::setxattr(m_file.c_str(), "system.posix_acl_access", kList, sizeof kList - 1, 0) != 0) {
        GTEST_SKIP() << "this file system keeps no access lists: " << strerrordesc_np(errno);
    }
    EXPECT_EQ(1u, write());
    EXPECT_EQ(kNew, content());
    char kept[sizeof kList];
    EXPECT_EQ(::getxattr(m_file.c_str(), "system.posix_acl_access", kept, sizeof kept), sizeof kList - 1);
}

} // namespace
} // namespace em
