// The guard against a tree that is laid out like the sandbox, with one thing wrong at a time.
#include "host/sandbox/sandbox_guard.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

class SandboxGuardTest : public testing::Test {
protected:
    SandboxGuardTest() {
        write("/usr/sbin/recorder", layout::kRecorderSignature);
        fs::create_symlink("usr/sbin", m_root / "sbin");
        for (const em::ShutdownAction& action : em::kShutdownActions) {
            fs::create_hard_link(m_root / "usr/sbin/recorder",
                                 m_root.string() + layout::realPlaceOf(action.command));
        }
        write("/proc/self/status", "Name:\tx\nCapEff:\t0000000000000000\nCapBnd:\t0000000000000000\n");
        write("/proc/self/mountinfo", kMounted);
        fs::create_directories(m_root / "proc/self/ns");
        fs::create_symlink("pid:[2]", m_root / "proc/self/ns/pid");
        fs::create_symlink("mnt:[2]", m_root / "proc/self/ns/mnt");
        writeMarker("pid:[1]", "mnt:[1]");
    }
    ~SandboxGuardTest() override { fs::remove_all(m_root); }

    void write(const std::string& path, const std::string& content) const {
        const fs::path file = m_root.string() + path;
        fs::create_directories(file.parent_path());
        std::ofstream(file) << content;
    }
    void writeMarker(const char* pidNamespace, const char* mountNamespace) const {
        struct stat status = {};
        ASSERT_EQ(stat((m_root / "usr/sbin/recorder").c_str(), &status), 0);
        write(layout::kMarker,
              fmt::format("{}\n{}\n{}:{}\n", pidNamespace, mountNamespace, status.st_dev, status.st_ino));
    }
    [[nodiscard]] std::string fault() const { return sandboxFault(m_root); }

    static constexpr const char* kMounted = "21 20 0:5 / /proc rw,nosuid - proc proc rw\n"
                                            "22 21 0:4 /sys /proc/sys ro,nosuid - proc proc rw\n";
    const fs::path m_root = fs::temp_directory_path() / "guard";
};

TEST_F(SandboxGuardTest, PassesWhenEverythingIsInPlace) {
    EXPECT_EQ(fault(), "");
    EXPECT_EQ(sandboxFault(""), "");
}

TEST_F(SandboxGuardTest, RefusesWithoutMarker) {
    fs::remove(m_root.string() + layout::kMarker);
    EXPECT_EQ(fault(), "no marker");
}

TEST_F(SandboxGuardTest, RefusesInTheMachinesOwnNamespaces) {
    writeMarker("pid:[2]", "mnt:[1]");
    EXPECT_EQ(fault(), "the pid namespace is the machine's own");
    writeMarker("pid:[1]", "mnt:[2]");
    EXPECT_EQ(fault(), "the mnt namespace is the machine's own");
    fs::remove(m_root / "proc/self/ns/pid");
    EXPECT_EQ(fault(), "the pid namespace cannot be told");
}

TEST_F(SandboxGuardTest, RefusesACommandThatIsNotTheRecorder) {
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        const std::string command = layout::realPlaceOf(action.command);
        const std::string path = m_root.string() + command;
        fs::remove(path);
        EXPECT_EQ(fault(), path + " is not the recorder") << "missing";
        write(command, layout::kRecorderSignature);
        EXPECT_EQ(fault(), path + " is not the recorder") << "another file";
        fs::remove(path);
        fs::create_hard_link(m_root / "usr/sbin/recorder", path);
        EXPECT_EQ(fault(), "");
    }
}

TEST_F(SandboxGuardTest, RefusesARecorderWithoutSignature) {
    write("/usr/sbin/recorder", "something else, named in the marker all the same");
    EXPECT_EQ(fault(), m_root.string() + "/usr/sbin/reboot is not the recorder");
}

TEST_F(SandboxGuardTest, RefusesWhenTheModulesPathLeadsElsewhere) {
    fs::remove(m_root / "sbin");
    write("/sbin/reboot", layout::kRecorderSignature);
    EXPECT_EQ(fault(), m_root.string() + "/sbin/reboot is not the recorder");
}

TEST_F(SandboxGuardTest, RefusesAnyCapability) {
    for (const char* status :
         {"CapEff:\t0000000000400000\nCapBnd:\t0000000000000000\n",
          "CapEff:\t0000000000000000\nCapBnd:\t0000000000000001\n", "CapEff:\t0000000000000000\n"}) {
        write("/proc/self/status", status);
        EXPECT_NE(fault().find("capabilities"), std::string::npos) << status;
    }
}

TEST_F(SandboxGuardTest, RefusesKernelSettingsThatCanBeWritten) {
    for (const char* mounted : {"", "21 20 0:5 / /proc ro - proc proc rw\n",
                                "22 21 0:4 /sys /proc/sys rw,nosuid - proc proc ro\n"}) {
        write("/proc/self/mountinfo", mounted);
        EXPECT_EQ(fault(), "/proc/sys is not read-only") << mounted;
    }
    write("/proc/self/mountinfo", std::string(kMounted) + "23 22 0:4 /sys /proc/sys rw - proc proc rw\n");
    EXPECT_EQ(fault(), "/proc/sys is not read-only") << "a second mount on top of it";
}

TEST_F(SandboxGuardTest, RefusesASocketOfTheServiceManagerOrTheBus) {
    for (const char* socket : {"/run/systemd/private", "/run/dbus/system_bus_socket", "/run/initctl"}) {
        write(socket, "");
        EXPECT_EQ(fault(), std::string(socket) + " is there");
        fs::remove(m_root.string() + socket);
    }
}

} // namespace
} // namespace volad_dev
