// What each fuzzer started from or found, once more.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <vector>

#include "corpus_targets.h"

namespace fuzz {

static void PrintTo(const Target& target, std::ostream* stream) {
    *stream << target.name;
}

namespace {

class Corpus : public testing::TestWithParam<Target> {};

TEST_P(Corpus, IsReadWithoutAFinding) {
    using Clock = std::chrono::steady_clock;
    const auto& [name, entry, longest, seconds] = GetParam();
    size_t files = 0;
    for (const auto& each :
         std::filesystem::directory_iterator(std::filesystem::path(EM_FUZZ_CORPUS) / name)) {
        SCOPED_TRACE(each.path());
        std::ifstream file(each.path(), std::ios::binary);
        const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
        EXPECT_LE(bytes.size(), longest) << "the fuzzer would cut it";
        const auto begin = Clock::now();
        EXPECT_EQ(0, entry(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
        EXPECT_LE(Clock::now() - begin, std::chrono::seconds(seconds));
        ++files;
    }
    EXPECT_GE(files, 6U);
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Corpus, testing::ValuesIn(kTargets),
                         [](const auto& target) { return std::string(target.param.name); });

} // namespace
} // namespace fuzz
