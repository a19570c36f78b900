#include "shutdown/agents_restart.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "base/system.h"
#include "contract/places.h"
#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace em {
namespace {

struct Product {
    const char* identifier;
    const char* detection;
    const char* managed;   // the command with a service manager
    const char* unmanaged; // and without
};
constexpr const char* kDetected = "\nCHostwardenInstal: BRIX installation detected!";
constexpr Product kProducts[] = {
    {"em_shutdown", "", "/usr/sbin/ombrad restart", "/usr/sbin/ombrad restart"},
    {"Brix", "", "/usr/sbin/ombrad restart", "/usr/sbin/ombrad restart"},
    {"brix", kDetected, "/opt/Orlendix/vital/etc/ombrad/StartupScripts/brix restart",
     "/etc/init.d/brix restart"},
    {"BRIX", kDetected, "/opt/Orlendix/vital/etc/ombrad/StartupScripts/brix restart",
     "/etc/init.d/brix restart"},
};

constexpr const char* kManagedLine =
    "CTellmarkAgents: we are running on a System with systemctl (e.g. RHEL7 or SLES12 or higher\n";

class AgentsRestartTest : public testing::Test {
protected:
    AgentsRestartTest() { useScript(); }

    // Stand-ins for the machine's fixed places; made anew after the fake was reset.
    void useScript() {
        fake::reset();
        fake::setPath(place::kRestartJobFile, m_job);
        fake::setPath(place::kServiceManager, m_files.pathOf("systemctl"));
        fake::setPath(place::kShell, m_files.pathOf("shell"));
    }

    fake::Scope m_twin;
    test::TemporaryDirectory m_files;
    const std::string m_job = m_files.pathOf("ombradAction.file");
};

TEST_F(AgentsRestartTest, ServiceManagerGetsAJobFile) {
    m_files.write("systemctl", "");
    m_files.write("ombradAction.file", std::string(200, 'x'));
    ASSERT_EQ(::chmod(m_job.c_str(), 0666), 0); // who may write it could have root run any command
    for (const Product& product : kProducts) {
        const test::TraceCapture capture(4);
        EXPECT_TRUE(CTellmarkAgents(product.identifier).RestartAgents());
        EXPECT_EQ(m_files.read("ombradAction.file"), product.managed);
        EXPECT_EQ(capture.text(), std::string(product.detection) + kManagedLine +
                                      "CTellmarkAgents: Restart Agents Job created: \"" + product.managed +
                                      "\"\n"
                                      "CTellmarkAgents: This Job will be executed by ombradAction script\n");
    }
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "nothing was started";
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

TEST_F(AgentsRestartTest, WithoutServiceManagerTheCommandIsStarted) {
    m_files.write("shell", "#!/bin/sh\nprintf '%s|%s' \"$1\" \"$2\" > " + m_files.pathOf("started") + "\n");
    ASSERT_EQ(chmod(m_files.pathOf("shell").c_str(), 0700), 0);
    for (const Product& product : kProducts) {
        const test::TraceCapture capture(4);
        EXPECT_TRUE(CTellmarkAgents(product.identifier).RestartAgents());
        EXPECT_GT(waitpid(-1, nullptr, 0), 0) << "its end is not collected";
        EXPECT_EQ(m_files.read("started"), "-c|" + std::string(product.unmanaged));
        EXPECT_EQ(capture.text(), std::string(product.detection) +
                                      "CTellmarkAgents: Execute Restart Job: " + product.unmanaged + "\n");
    }
}

TEST_F(AgentsRestartTest, FailuresAreToldByTheirOwnLinesOnly) {
    const std::string execute = "CTellmarkAgents: Execute Restart Job: /usr/sbin/ombrad restart\n";
    const struct {
        std::vector<const char*> calls;
        std::string lines;
        int error;
        bool managed;
    } cases[] = {
        {{"open"}, kManagedLine + ("CTellmarkAgents: cannot open \"" + m_job + "\"\n"), EROFS, true},
        {{"write"}, kManagedLine, ENOSPC, true},
        {{"fsync"}, kManagedLine, EIO, true},
        {{"clone", "fork"},
         execute + "CTellmarkAgents: Execution of Restart Job \"/usr/sbin/ombrad restart\" failed, errno = "
                   "Resource temporarily unavailable\n",
         EAGAIN,
         false},
    };
    for (const auto& each : cases) {
        const test::TraceCapture capture(4);
        useScript();
        fake::setPath(place::kServiceManager, each.managed ? m_files.path() : m_files.pathOf("none"));
        for (const char* call : each.calls) {
            fake::failNth(call, 1, each.error, 0);
        }
        EXPECT_FALSE(CTellmarkAgents().RestartAgents()) << each.calls.front();
        EXPECT_EQ(capture.text(), each.lines) << each.calls.front();
    }
}

} // namespace
} // namespace em
