#include "shutdown/agents_restart.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/base/system.h"
#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace em {
namespace {

struct Product {
    const char* identifier;
    bool agentless;
    const char* managed;   // the command with a service manager
    const char* unmanaged; // and without
};
constexpr Product kProducts[] = {
    {"em_shutdown", false, "/usr/sbin/ombrad restart", "/usr/sbin/ombrad restart"},
    {"Brix", false, "/usr/sbin/ombrad restart", "/usr/sbin/ombrad restart"},
    {"brix", true, "/opt/Orlendix/vital/etc/ombrad/StartupScripts/brix restart", "/etc/init.d/brix restart"},
    {"BRIX", true, "/opt/Orlendix/vital/etc/ombrad/StartupScripts/brix restart", "/etc/init.d/brix restart"},
};

constexpr const char* kManagedLine =
    "CTellmarkAgents: we are running on a System with systemctl (e.g. RHEL7 or SLES12 or higher\n";

std::string detection(const Product& product) {
    return product.agentless ? "\nCHostwardenInstal: BRIX installation detected!" : "";
}

class AgentsRestartTest : public testing::Test {
protected:
    AgentsRestartTest() { useScript(); }
    ~AgentsRestartTest() override {
        while (waitpid(-1, nullptr, 0) > 0) {
        }
    }

    // Stand-ins for the machine's fixed places; made anew after the twin was reset.
    void useScript() {
        twin::setPath("restartJobFile", m_strJob);
        twin::setPath("serviceManager", m_Files.pathOf("systemctl"));
        twin::setPath("shell", m_Files.pathOf("shell"));
    }

    twin::Scope m_Twin;
    test::TemporaryDirectory m_Files;
    const std::string m_strJob = m_Files.pathOf("ombradAction.file");
};

TEST_F(AgentsRestartTest, ServiceManagerGetsAJobFile) {
    m_Files.write("systemctl", "");
    m_Files.write("ombradAction.file", std::string(200, 'x'));
    for (const Product& product : kProducts) {
        const test::TraceCapture capture(4);
        EXPECT_TRUE(CTellmarkAgents(product.identifier).RestartAgents());
        EXPECT_EQ(m_Files.read("ombradAction.file"), product.managed);
        EXPECT_EQ(capture.text(), detection(product) + kManagedLine +
                                      "CTellmarkAgents: Restart Agents Job created: \"" + m_strJob +
                                      "\"\n"
                                      "CTellmarkAgents: This Job will be executed by ombradAction script\n");
    }
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "nothing was started";
}

TEST_F(AgentsRestartTest, UnwritableJobFileFails) {
    m_Files.write("systemctl", "");
    const struct {
        const char* call;
        int error;
        std::string line;
    } cases[] = {
        {"open", EROFS, "CTellmarkAgents: cannot open \"" + m_strJob + "\"\n"},
        {"write", ENOSPC, ""},
        {"fsync", EIO, ""},
    };
    for (const auto& [call, error, line] : cases) {
        const test::TraceCapture capture(4);
        twin::reset();
        useScript();
        twin::failNth(call, 1, error, 0);
        EXPECT_FALSE(CTellmarkAgents().RestartAgents()) << call;
        EXPECT_EQ(capture.text(), kManagedLine + line) << call;
    }
}

TEST_F(AgentsRestartTest, WithoutServiceManagerTheCommandIsStarted) {
    m_Files.write("shell", "#!/bin/sh\nprintf '%s|%s' \"$1\" \"$2\" > " + m_Files.pathOf("started") + "\n");
    ASSERT_EQ(chmod(m_Files.pathOf("shell").c_str(), 0700), 0);
    for (const Product& product : kProducts) {
        const test::TraceCapture capture(4);
        EXPECT_TRUE(CTellmarkAgents(product.identifier).RestartAgents());
        EXPECT_GT(waitpid(-1, nullptr, 0), 0) << "its end is not collected";
        EXPECT_EQ(m_Files.read("started"), "-c|" + std::string(product.unmanaged));
        EXPECT_EQ(capture.text(),
                  detection(product) + "CTellmarkAgents: Execute Restart Job: " + product.unmanaged + "\n");
    }
    EXPECT_FALSE(std::filesystem::exists(m_strJob));
}

TEST_F(AgentsRestartTest, ChildThatCannotBeCreatedFails) {
    const test::TraceCapture capture(4);
    twin::failNth("clone", 1, EAGAIN, 0);
    twin::failNth("fork", 1, EAGAIN, 0);
    EXPECT_FALSE(CTellmarkAgents().RestartAgents());
    EXPECT_EQ(capture.text(),
              "CTellmarkAgents: Execute Restart Job: /usr/sbin/ombrad restart\n"
              "CTellmarkAgents: Execution of Restart Job \"/usr/sbin/ombrad restart\" failed, errno = "
              "Resource temporarily unavailable\n");
}

} // namespace
} // namespace em
