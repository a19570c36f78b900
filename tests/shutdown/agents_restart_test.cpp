#include "shutdown/agents_restart.h"

#include "base/system.h"
#include "support/unit_test.h"

namespace em {
namespace {

constexpr const char* kManagedLine =
    "CTellmarkAgents: we are running on a System with systemctl (e.g. RHEL7 or SLES12 or higher\n";

struct AgentsRestartTest : test::UnitTest {
    AgentsRestartTest() {
        m_files.writeScript("shell",
                            "#!/bin/sh\nprintf '%s|%s' \"$1\" \"$2\" > " + m_files.pathOf("started") + "\n");
    }
    // Stand-ins for the machine's fixed places; anew each time, for the fake's script.
    void useScript(bool managed) {
        fake::reset();
        fake::setPath(place::kRestartJobFile, m_job);
        fake::setPath(place::kServiceManager, managed ? m_files.path() : m_files.pathOf("none"));
        fake::setPath(place::kShell, m_files.pathOf("shell"));
    }

    const std::string m_job = m_files.pathOf("ombradAction.file");
};

TEST_F(AgentsRestartTest, ServiceManagerGetsAJobFileElseTheCommandIsStarted) {
    const std::string detected = "\nCHostwardenInstal: BRIX installation detected!";
    // The command with a service manager, and without.
    const std::tuple<const char*, std::string, std::string, std::string> products[] = {
        {"Brix", "", "/usr/sbin/ombrad restart", "/usr/sbin/ombrad restart"},
        {"brix", detected, "/opt/Orlendix/vital/etc/ombrad/StartupScripts/brix restart",
         "/etc/init.d/brix restart"},
        {"BRIX", detected, "/opt/Orlendix/vital/etc/ombrad/StartupScripts/brix restart",
         "/etc/init.d/brix restart"},
    };
    m_files.write("ombradAction.file", std::string(200, 'x'));
    ASSERT_EQ(::chmod(m_job.c_str(), 0666), 0); // who may write it could have root run any command
    for (const auto& [identifier, detection, managed, unmanaged] : products) {
        test::TraceCapture capture(4);
        useScript(true);
        EXPECT_TRUE(CTellmarkAgents(identifier).RestartAgents());
        EXPECT_EQ(m_files.read("ombradAction.file"), managed);
        EXPECT_EQ(capture.text(), detection + kManagedLine +
                                      "CTellmarkAgents: Restart Agents Job created: \"" + managed +
                                      "\"\n"
                                      "CTellmarkAgents: This Job will be executed by ombradAction script\n");
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "nothing was started";

        capture.clear();
        useScript(false);
        EXPECT_TRUE(CTellmarkAgents(identifier).RestartAgents());
        EXPECT_GT(::waitpid(-1, nullptr, 0), 0) << "its end is not collected";
        EXPECT_EQ(m_files.read("started"), "-c|" + unmanaged);
        EXPECT_EQ(capture.text(), detection + "CTellmarkAgents: Execute Restart Job: " + unmanaged + "\n");
    }
    useScript(true);
    for (const bool made : {false, true}) {
        const mode_t mask = ::umask(0);
        EXPECT_TRUE(CTellmarkAgents().RestartAgents());
        ::umask(mask);
        struct stat status = {};
        ASSERT_EQ(::stat(m_job.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & ALLPERMS, 0644U) << made;
        ASSERT_EQ(::unlink(m_job.c_str()), 0);
    }
}

TEST_F(AgentsRestartTest, FailuresAreToldByTheirOwnLinesOnly) {
    const std::string execute = "CTellmarkAgents: Execute Restart Job: /usr/sbin/ombrad restart\n";
    const std::tuple<std::vector<const char*>, std::string, int, bool> cases[] = {
        {{"open"}, kManagedLine + ("CTellmarkAgents: cannot open \"" + m_job + "\"\n"), EROFS, true},
        {{"fsync"}, kManagedLine, EIO, true},
        {{"clone", "fork"},
         execute + "CTellmarkAgents: Execution of Restart Job \"/usr/sbin/ombrad restart\" failed, errno = "
                   "Resource temporarily unavailable\n",
         EAGAIN,
         false},
    };
    for (const auto& [calls, lines, error, managed] : cases) {
        const test::TraceCapture capture(4);
        useScript(managed);
        for (const char* call : calls) {
            fake::failNth(call, 1, error, 0);
        }
        EXPECT_FALSE(CTellmarkAgents().RestartAgents()) << calls.front();
        EXPECT_EQ(capture.text(), lines) << calls.front();
    }
}

} // namespace
} // namespace em
