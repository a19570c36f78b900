// How a file's content is replaced; the profile calls' tests fail and kill the changes at each of their
// calls.
#include "platform/files/file_change.h"
#include "support/unit_test.h"

namespace em {
namespace {

namespace fs = std::filesystem;

struct FileChangeTest : test::UnitTest {
    [[nodiscard]] struct stat statusOf(const char* name) const {
        struct stat status = {};
        EXPECT_EQ(::stat(m_files.pathOf(name).c_str(), &status), 0);
        return status;
    }
    [[nodiscard]] std::ptrdiff_t files() const {
        return std::distance(fs::directory_iterator(m_files.path()), {});
    }
    [[nodiscard]] FileChangeResult replace(const std::string& name, const char* content) const {
        constexpr FileModes kModes = {.fresh = 0644, .widest = 0644, .lessTheMask = true};
        return replaceFileContent(m_files.pathOf(name).c_str(), kModes, content);
    }
};

TEST_F(FileChangeTest, ReplacesInOneStepAndKeepsTheMode) {
    const mode_t mask = ::umask(027);
    EXPECT_EQ(replace("job", "first, the longer one").error, 0);
    ::umask(mask);
    const struct stat first = statusOf("job");
    EXPECT_EQ(first.st_mode & ALLPERMS, 0640U);
    ::chmod(m_files.pathOf("job").c_str(), 0600);

    EXPECT_EQ(replace("job", "second").error, 0);
    EXPECT_EQ(m_files.read("job"), "second");
    EXPECT_EQ(statusOf("job").st_mode & ALLPERMS, 0600U);
    EXPECT_NE(statusOf("job").st_ino, first.st_ino) << "a reader of the first would see half of the second";
    EXPECT_EQ(files(), 1);
}

TEST_F(FileChangeTest, NoModeIsWiderThanAsked) {
    const mode_t mask = ::umask(0);
    EXPECT_EQ(replace("made", "new").error, 0);
    ::umask(mask);
    EXPECT_EQ(statusOf("made").st_mode & ALLPERMS, 0644U);
    m_files.write("wide", "old");
    m_files.write("linked", "old");
    fs::create_hard_link(m_files.pathOf("linked"), m_files.pathOf("twin")); // written in place
    for (const char* name : {"wide", "linked"}) {
        ::chmod(m_files.pathOf(name).c_str(), 04666);
        EXPECT_EQ(replace(name, "new").error, 0);
        EXPECT_EQ(statusOf(name).st_mode & ALLPERMS, 0644U) << name;
    }
}

TEST_F(FileChangeTest, LinksStayLinks) {
    m_files.write("target", "a longer content");
    fs::create_symlink("target", m_files.pathOf("link"));
    fs::create_symlink(m_files.pathOf("made"), m_files.pathOf("dangling"));
    fs::create_symlink("/dev/null", m_files.pathOf("device"));
    for (const char* link : {"link", "dangling", "device"}) {
        EXPECT_EQ(replace(link, "new").error, 0) << link;
        EXPECT_TRUE(fs::is_symlink(m_files.pathOf(link))) << link;
    }
    EXPECT_EQ(m_files.read("target"), "new");
    EXPECT_EQ(m_files.read("made"), "new");
    fs::create_hard_link(m_files.pathOf("target"), m_files.pathOf("twin"));
    EXPECT_EQ(replace("twin", "in place").error, 0);
    EXPECT_EQ(replace("target/", "a directory").error, EISDIR);
    EXPECT_EQ(m_files.read("target"), "in place");
}

TEST_F(FileChangeTest, FaultsLeaveTheOldContentOrTheNewAndNothingElse) {
    const std::tuple<const char*, int, int, bool, bool> cases[] = {
        {"openat", 4, EACCES, false, true}, // behind three looks on the way
        {"openat", 5, ENOSPC, false, true}, // the file beside it
        {"write", 1, ENOSPC, false, false},
        {"fsync", 1, EIO, false, false},
        // No other file can take its place: written in place.
        {"openat", 5, EACCES, true, false},
        {"fchown", 1, EPERM, true, false},
        {"fchmod", 1, EPERM, true, false},
        {"renameat2", 1, EBUSY, true, false},
    };
    for (const auto& [call, nth, error, written, notOpened] : cases) {
        SCOPED_TRACE(std::string(call) + " " + std::to_string(error));
        fake::reset();
        m_files.write("job", "old content");
        const ino_t before = statusOf("job").st_ino;
        fake::failNth(call, nth, error);
        const FileChangeResult result = replace("job", "new");
        EXPECT_EQ(result.error, written ? 0 : error);
        EXPECT_EQ(result.notOpened(), notOpened);
        EXPECT_EQ(m_files.read("job"), written ? "new" : "old content");
        EXPECT_EQ(statusOf("job").st_ino, before);
        EXPECT_EQ(files(), 1);
    }
}

TEST_F(FileChangeTest, Names) {
    for (const auto& [name, error] : {std::pair(".", EISDIR), std::pair("missing/job", ENOENT)}) {
        const FileChangeResult result = replace(name, "x");
        EXPECT_EQ(result.error, error) << name;
        EXPECT_TRUE(result.notOpened()) << name;
    }
    const std::string name(NAME_MAX, 'n');
    for (const char* content : {"first", "second"}) {
        EXPECT_EQ(replace(name, content).error, 0);
        EXPECT_EQ(m_files.read(name), content);
    }
    EXPECT_EQ(files(), 1);
}

} // namespace
} // namespace em
