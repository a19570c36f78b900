// Where the loaded module takes its trace level from, in the directory of an installation.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "module/files.h"
#include "module/loaded_module.h"
#include "module/recording.h"

namespace module_test {
namespace {

constexpr const char* kDirectory = "/opt/Orlendix/vital/etc/velcor/TellmarkSuite/TraceConfig";

// The modification time is that many seconds after the epoch.
void writeIni(const char* name, const std::string& content, time_t modified) {
    const std::string path = std::string(kDirectory) + "/" + name;
    writeFile(path, content + "\n[endoffile]");
    const timespec times[] = {{modified, 0}, {modified, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

class TraceConfiguration : public testing::Test {
protected:
    TraceConfiguration() {
        recording().clear();
        std::filesystem::create_directories(kDirectory);
    }
    ~TraceConfiguration() override { std::filesystem::remove_all(kDirectory); }
};

TEST_F(TraceConfiguration, IsReadAtLoadAndFollowedWhileRunning) {
    writeIni("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=1", 1000);
    writeIni("shutdown.ini", "[EM_SHUTDOWN]\nFileDebugLevel=0x1", 1000);
    HostedModule module(LoadedModule::kLevelFromFiles);
    ASSERT_TRUE(module.start());
    EXPECT_TRUE(recording().contains("### Starting module EM_SHUTDOWN ###"));
    EXPECT_FALSE(recording().contains("creating event"));
    writeIni("shutdown.ini", "[EM_SHUTDOWN]\nFileDebugLevel=5", 1001);
    module.afterStart(); // the watcher asks once a second
    EXPECT_TRUE(recording().waitFor("waiting 1000ms on event"));
}

} // namespace
} // namespace module_test
