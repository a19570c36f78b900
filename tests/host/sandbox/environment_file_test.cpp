// A service's environment, line by line.
#include "host/sandbox/environment_file.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "host/common/failure.h"

namespace volad_dev {
namespace {

using namespace std::string_literals;

using Lines = std::vector<std::string>;

const std::string kFile = std::filesystem::temp_directory_path() / "service.env";

Lines read(const std::string& content) {
    std::ofstream(kFile) << content;
    return readEnvironmentFile(kFile);
}

TEST(EnvironmentFile, IsReadAsTheServiceManagerReadsIt) {
    const std::pair<const char*, Lines> cases[] = {
        {"", {}},
        {"# A=1\n ; B=2\n\n \t\nC=3\n", {"C=3"}},
        {"A=1\nA=2", {"A=1", "A=2"}},
        {"A= a b \t\r\n", {"A=a b"}},
        {"A=\n_b9=x=y\n", {"A=", "_b9=x=y"}},
        {"A=\"a # b\"\nB='it\\n'\n", {"A=a # b", "B=it\\n"}},
        {"A=\"say \\\"x\\\" \\$y \\n\"\n", {"A=say \"x\" $y \\n"}},
        {"A=a\\ b\\'c\nB='a'\"b\"c\n", {"A=a b'c", "B=abc"}},
        {"A=one\\\ntwo\nB=3\n", {"A=onetwo", "B=3"}},
        {"# ends so \\\nA=1\n", {"A=1"}},
    };
    for (const auto& [content, expected] : cases) {
        EXPECT_EQ(read(content), expected) << content;
    }
}

TEST(EnvironmentFile, NamesFileAndLineOfWhatIsNone) {
    const std::pair<std::string, const char*> cases[] = {
        {"A=1\nnothing\n", ":2: expected NAME=value instead of \"nothing\""},
        {"=x\n", ":1: expected"},
        {"9A=x\n", ":1: expected"},
        {"A-B=x\n", ":1: expected"},
        {"A=\\\n\nB=\"x\n", ":3: a quote is not closed"},
        {"LD_PRELOAD=x\n", ":1: LD_PRELOAD changes"},
        {"GCOV_PREFIX=x\n", ":1: GCOV_PREFIX changes"},
        {"GLIBC_TUNABLES=x\n", ":1: GLIBC_TUNABLES changes"},
        {"VOLAD_SCRATCH=x\n", ":1: VOLAD_SCRATCH tells"},
        {"A=1\nB=a"s + '\0' + "b\n", ":2: a NUL byte"},
        {std::string((1 << 20) + 1, '\n'), ": holds more than 1 MiB"},
    };
    for (const auto& [content, expected] : cases) {
        try {
            read(content);
            ADD_FAILURE() << content.substr(0, 100);
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), kExitUsage);
            EXPECT_TRUE(std::string(failure.what()).starts_with(kFile + expected)) << failure.what();
        }
    }
    const std::string fifo = std::filesystem::temp_directory_path() / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& other : {"/none"s, "/"s, "/dev/zero"s, fifo}) {
        EXPECT_THROW(static_cast<void>(readEnvironmentFile(other)), Failure) << other;
    }
    std::filesystem::remove(fifo);
}

} // namespace
} // namespace volad_dev
