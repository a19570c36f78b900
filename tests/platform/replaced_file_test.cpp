#include "platform/replaced_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "platform/base/system.h"
#include "support/temporary_directory.h"

namespace em {
namespace {

namespace fs = std::filesystem;

class ReplacedFileTest : public testing::Test {
protected:
    struct stat statusOf(const char* name) const {
        struct stat status = {};
        EXPECT_EQ(lstat(m_Files.pathOf(name).c_str(), &status), 0);
        return status;
    }
    std::ptrdiff_t files() const { return std::distance(fs::directory_iterator(m_Files.path()), {}); }

    twin::Scope m_Twin;
    test::TemporaryDirectory m_Files;
    const std::string m_strFile = m_Files.pathOf("job");
};

TEST_F(ReplacedFileTest, ReplacesInOneStepAndKeepsTheMode) {
    EXPECT_EQ(ReplaceFile(m_strFile.c_str(), "first, the longer one"), Replaced::Written);
    EXPECT_EQ(m_Files.read("job"), "first, the longer one");
    const struct stat first = statusOf("job");
    EXPECT_EQ(first.st_mode & 07111, 0U);
    chmod(m_strFile.c_str(), 0640);

    EXPECT_EQ(ReplaceFile(m_strFile.c_str(), "second"), Replaced::Written);
    EXPECT_EQ(m_Files.read("job"), "second");
    EXPECT_EQ(statusOf("job").st_mode & 07777, 0640U);
    EXPECT_NE(statusOf("job").st_ino, first.st_ino) << "a reader of the first would see half of the second";
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplacedFileTest, LinksStayLinks) {
    m_Files.write("target", "a longer content");
    fs::create_symlink(m_Files.pathOf("target"), m_strFile);
    EXPECT_EQ(ReplaceFile(m_strFile.c_str(), "new"), Replaced::Written);
    EXPECT_TRUE(fs::is_symlink(m_strFile));
    EXPECT_EQ(m_Files.read("target"), "new");

    fs::create_hard_link(m_Files.pathOf("target"), m_Files.pathOf("twin"));
    EXPECT_EQ(ReplaceFile(m_Files.pathOf("twin").c_str(), "newer"), Replaced::Written);
    EXPECT_EQ(m_Files.read("target"), "newer");
    EXPECT_EQ(files(), 3);
}

TEST_F(ReplacedFileTest, OpensWhatAStreamOpens) {
    fs::create_directory(m_Files.pathOf("directory"));
    EXPECT_EQ(ReplaceFile(m_Files.pathOf("directory").c_str(), "x"), Replaced::NotOpened);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(ReplaceFile(m_Files.pathOf("missing/job").c_str(), "x"), Replaced::NotOpened);
    EXPECT_EQ(errno, ENOENT);
    m_Files.write("job", "old");
    twin::failNth("open", 1, EACCES, 0);
    EXPECT_EQ(ReplaceFile(m_strFile.c_str(), "x"), Replaced::NotOpened);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(m_Files.read("job"), "old");
}

TEST_F(ReplacedFileTest, FaultsLeaveTheOldContentOrTheNewAndNothingElse) {
    const struct {
        const char* call;
        int nth;
        int error;
        Replaced outcome;
        const char* content;
    } cases[] = {
        {"write", 1, ENOSPC, Replaced::NotWritten, "old"},
        {"close", 2, EIO, Replaced::NotWritten, "old"}, // the first one ends the look at the old file
        {"open", 2, EACCES, Replaced::Written, "new"},  // no file beside it
        {"fchmod", 1, EPERM, Replaced::Written, "new"},
        {"rename", 1, EBUSY, Replaced::Written, "new"},
    };
    for (const auto& [call, nth, error, outcome, content] : cases) {
        twin::reset();
        m_Files.write("job", "old");
        twin::failNth(call, nth, error);
        EXPECT_EQ(ReplaceFile(m_strFile.c_str(), "new"), outcome) << call;
        EXPECT_EQ(m_Files.read("job"), content) << call;
        EXPECT_EQ(files(), 1) << call;
    }
}

} // namespace
} // namespace em
