// What the fuzzer of this suite started from or found, once more.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

namespace {

// One thread reads; and the thread sanitizer's order check holds 64 locks, which deep trees exceed.
TEST(FuzzCorpus, IsReadWithoutAFinding) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP();
#endif
    size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(EM_FUZZ_CORPUS)) {
        SCOPED_TRACE(entry.path());
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
        EXPECT_EQ(0, LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
        ++files;
    }
    EXPECT_GE(files, 6u);
}

} // namespace
