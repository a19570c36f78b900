// How much of a tree is looked at before it becomes visible. What is covered, the attacks on the sandbox
// show.
#include "host/sandbox/bound_tree.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/common/failure.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

TEST(TreeSearch, RefusesMoreEntriesThanAreLookedAtAndMoreCoversThanAreLaid) {
    const fs::path many = fs::temp_directory_path() / "many";
    const auto fill = [&](const char* below, size_t count, mode_t mode) {
        fs::create_directories(many / below);
        for (size_t i = 0; i < count; ++i) {
            ASSERT_EQ(mknod(fmt::format("{}/{}/{}", many.string(), below, i).c_str(), mode | 0644, 0), 0);
        }
    };
    fill("files", kMostEntries - 1, S_IFREG); // and their directory
    TreeSearch search;
    EXPECT_NO_THROW(search.add(many, false));
    EXPECT_TRUE(search.found().empty());
    EXPECT_THROW(search.add(many, false), Failure) << "all trees count together";
    fill("one more", 0, S_IFREG);
    EXPECT_THROW(TreeSearch().add(many, false), Failure);
    fs::remove_all(many);
    fill("fifos", 500, S_IFIFO);
    search = TreeSearch();
    search.add(many, false);
    EXPECT_EQ(search.found().size(), 500U);
    fill("another", 1, S_IFIFO);
    EXPECT_THROW(TreeSearch().add(many, false), Failure);
    fs::remove_all(many);
}

} // namespace
} // namespace volad_dev
