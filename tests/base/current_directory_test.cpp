#include "base/current_directory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "base/system_fake.h"
#include "support/temporary_directory.h"

namespace em {
namespace {

TEST(CurrentDirectory, IsTheWorkingDirectoryOrLeavesTheTextAndTheReason) {
    const fake::Scope script;
    std::string text = "before";
    {
        const test::TemporaryDirectory directory;
        ASSERT_EQ(::chdir(directory.path().c_str()), 0);
        fake::failNth("getcwd", 1, ERANGE);
        EXPECT_FALSE(GetCurrentDirectory(text));
        EXPECT_EQ(errno, ERANGE);
        EXPECT_EQ(text, "before");
        EXPECT_TRUE(GetCurrentDirectory(text));
        EXPECT_EQ(text, directory.path());
    }
    text = "before";
    EXPECT_FALSE(GetCurrentDirectory(text)) << "removed meanwhile";
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(text, "before");
    ASSERT_EQ(::chdir("/"), 0);
}

} // namespace
} // namespace em
