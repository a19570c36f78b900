// Where the loaded module takes its trace level from, in the directory of an installation.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "module/loaded_module.h"
#include "rig/files.h"
#include "rig/recording.h"

namespace em::test {
namespace {

constexpr const char* kDirectory = "/opt/Orlendix/vital/etc/velcor/TellmarkSuite/TraceConfig";

// The modification time is that many seconds after the epoch.
void writeIni(const std::string& name, const std::string& content, time_t modified) {
    const std::string path = kDirectory + ("/" + name);
    writeFile(path, content + "\n[endoffile]");
    setModificationTime(path, modified);
}

TEST(TraceConfiguration, IsReadAtLoadAndFollowedWhileRunning) {
    recording().clear();
    std::filesystem::create_directories(kDirectory);
    writeIni("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=1", 1000);
    writeIni("shutdown.ini", "[EM_SHUTDOWN]\nFileDebugLevel=0x1", 1000);
    HostedModule module(LoadedModule::kLevelFromFiles);
    ASSERT_TRUE(module.start());
    EXPECT_TRUE(recording().contains("### Starting module EM_SHUTDOWN ###"));
    EXPECT_FALSE(recording().contains("creating event"));
    writeIni("shutdown.ini", "[EM_SHUTDOWN]\nFileDebugLevel=5", 1001);
    module.afterStart(); // the watcher asks once a second
    EXPECT_TRUE(recording().waitFor("waiting 1000ms on event"));
    std::filesystem::remove_all(kDirectory);
}

} // namespace
} // namespace em::test
