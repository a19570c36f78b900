#include "platform/base/current_directory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/base/system_twin.h"
#include "support/temporary_directory.h"

namespace em {
namespace {

TEST(CurrentDirectory, IsTheWorkingDirectory) {
    const test::TemporaryDirectory directory;
    ASSERT_EQ(::chdir(directory.path().c_str()), 0);
    std::string text = "before";
    EXPECT_TRUE(GetCurrentDirectory(text));
    EXPECT_EQ(text, directory.path());
    ASSERT_EQ(::chdir("/"), 0);
}

TEST(CurrentDirectory, LeavesTheTextAndTheReasonWhenItIsNotKnown) {
    const twin::Scope script;
    for (const int error : {ERANGE, EACCES}) {
        twin::failNth("getcwd", 1, error);
        std::string text = "before";
        errno = 0;
        EXPECT_FALSE(GetCurrentDirectory(text));
        EXPECT_EQ(errno, error);
        EXPECT_EQ(text, "before");
    }
    {
        const test::TemporaryDirectory directory;
        ASSERT_EQ(::chdir(directory.path().c_str()), 0);
    }
    std::string text = "before";
    EXPECT_FALSE(GetCurrentDirectory(text)) << "removed meanwhile";
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(text, "before");
    ASSERT_EQ(::chdir("/"), 0);
}

} // namespace
} // namespace em
