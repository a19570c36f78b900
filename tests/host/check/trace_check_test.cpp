#include "host/check/trace_check.h"

#include <cstdlib>
#include <filesystem>
#include <map>

#include "support/unit_test.h"
#include "trace/debug_trace_config.h"

namespace volad_dev {
namespace {

namespace place = em::place;

using Files = std::map<std::string, std::string>;
using TraceCheckTest = em::test::UnitTest;

// What the module's own configuration makes of the files is what the check says of them, however odd they
// are.
TEST_F(TraceCheckTest, SaysWhatTheModuleTakes) {
    const std::string end = "\n[EndOfFile]\n";
    const std::string three = "[EM_SHUTDOWN]\nFileDebugLevel=3" + end;
    const Files cases[] = {
        {},
        {{"readme.txt", three}},
        {{"m.ini", three}},
        {{"m.ini.bak", three}, {"z.ini", "[EM_SHUTDOWN]\nFileDebugLevel=4" + end}},
        {{"Z.ini", three}, {"a.ini", "[em_shutdown]\nFileDebugLevel=4" + end}},
        {{".#m.ini", three}, {"z.ini", end}},
        {{"m.ini", three + "[x]"}},
        {{"m.ini", three + "FileDebugLevel=4"}},
        {{"m.ini", three + "; x]"}, {"n.ini", "[EM_SHUTDOWN]\nFileDebugLevel=2" + end}},
        {{"m.ini", "[EM_SHUTDOWN]\nFileDebugLevel=3"}},
        {{"m.ini", "[EM_SHUTDOWN]\nMyFileDebugLevel=9\nFileDebugLevel=3" + end}},
        {{"m.ini", "[EM_SHUTDOWN]\n; FileDebugLevel\nTraceFlags=7" + end}},
        {{"m.ini", "[EM_SHUTDOWN]\nFileDebugLevel=\n2" + end}},
        {{"m.ini", "[EM_SHUTDOWN]\nFileDebugLevel=\nTraceFlags=7" + end}},
        {{"m.ini", "[EM_SHUTDOWN]\nFileDebugLevel" + end}},
        {{"m.ini", "[EM_SHUTDOWN]\nFileDebugLevel=010" + end}},
        {{"m.ini", "[EM_SHUTDOWN]\nFileDebugLevel=-1" + end}},
        {{"m.ini", "[EM_SHUTDOWN]\nFileDebugLevel=4294967299" + end}},
        {{"m.ini", "[EM_SHUTDOWN]\n; [0]\nFileDebugLevel=3" + end}},
        {{"m.ini", "; [\n" + three}, {"n.ini", "[EM_SHUTDOWN]\nFileDebugLevel=2" + end}},
        {{"m.ini", std::string("[EM_SHUTDOWN]\n\0", 15) + "FileDebugLevel=3" + end}},
        {{"m.ini", "[EM_SHUTDOWN]\nOther=1" + end}, {"n.ini", three}},
        {{"m.ini", three}, {"global_trace.ini", "[GLOBALDEBUGSETTINGS]\nDynamicUpdate=0x10" + end}},
        {{"global_trace.ini",
          "[EM_SHUTDOWN]\nFileDebugLevel=1\n[GlobalDebugSettings]\nDynamicUpdate=9" + end}},
        {{"m.ini", "[GlobalDebugSettings]\nDynamicUpdate=5\n" + three}},
        {{"global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=-1" + end}, {"m.ini", three}},
    };
    for (const char* const variable : {static_cast<const char*>(nullptr), "5", "0x5", ""}) {
        Surroundings host;
        for (const char* const name : {place::kTraceLevelVariable, place::kTraceUpdateVariable}) {
            variable != nullptr ? ::setenv(name, variable, 1) : ::unsetenv(name);
            if (variable != nullptr) {
                host.variables.push_back({std::string(name) + "=" + variable, 1});
            }
        }
        for (const Files& files : cases) {
            SCOPED_TRACE(files.empty() ? "" : files.begin()->first + ": " + files.begin()->second);
            const em::test::TemporaryDirectory root;
            const std::string directory = root.path() + place::kTraceConfigDirectory;
            std::filesystem::create_directories(directory);
            for (const auto& [name, content] : files) {
                em::test::writeFile(directory + "/" + name, content);
            }
            em::fake::setPath(place::kTraceConfigDirectory, directory);
            em::CDebugTraceConfig config;
            ASSERT_TRUE(config.Configure("EM_SHUTDOWN"));
            const TraceConfiguration checked = checkTrace(MachineRoot(root.path()), host);
            EXPECT_EQ(checked.level.value, config.Level());
            EXPECT_EQ(checked.interval.value, config.DynamicUpdate());
        }
        for (const char* const name : {place::kTraceLevelVariable, place::kTraceUpdateVariable}) {
            ::unsetenv(name);
        }
    }
}

} // namespace
} // namespace volad_dev
