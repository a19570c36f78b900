#include "base/file_content.h"

#include "support/unit_test.h"

namespace em {
namespace {

struct FileContentTest : test::UnitTest {
    int read(const char* name, size_t largest = 100) {
        m_content = {};
        return readRegularFile(m_files.pathOf(name).c_str(), largest, 16, m_content);
    }

    FileContent m_content;
};

TEST_F(FileContentTest, HoldsARegularFileUpToTheSizeAndZerosBehindIt) {
    m_files.write("f", "content", 1234);
    ASSERT_EQ(read("f", 7), 0);
    EXPECT_EQ(std::string(m_content.data.get(), m_content.size + 16), "content" + std::string(16, '\0'));
    EXPECT_EQ(m_content.status.st_mtime, 1234);
    EXPECT_EQ(read("f", 6), EFBIG);
    EXPECT_EQ(read("."), ENOTSUP);
    ASSERT_EQ(::mkfifo(m_files.pathOf("fifo").c_str(), 0600), 0);
    EXPECT_EQ(read("fifo"), ENOTSUP) << "and does not wait for a writer";
    m_files.write("empty", "");
    ASSERT_EQ(read("empty"), 0);
    EXPECT_EQ(m_content.size, 0U);
}

TEST_F(FileContentTest, ReadsOnAfterAnInterruptionUntilTheFileProvesTooShort) {
    m_files.write("f", "content");
    fake::failNth("read", 1, EINTR, 3);
    EXPECT_EQ(read("f"), 0);
    static std::string path;
    path = m_files.pathOf("f");
    fake::watch([](const char* call) {
        if (std::string_view(call) == "read") {
            [[maybe_unused]] const int result = ::truncate(path.c_str(), 3);
        }
    });
    EXPECT_EQ(read("f"), ENODATA);
}

} // namespace
} // namespace em
