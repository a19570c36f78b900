// The guard against a tree that is laid out like the sandbox, with one thing wrong at a time.
#include "host/sandbox/sandbox_guard.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/sandbox/sandbox_layout.h"
#include "host/sandbox/system_call_filter.h"

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
        write("/proc/self/status", statusWith("", ""));
        write("/proc/self/mountinfo", kMounted);
        fs::create_directories(m_root / "proc/self/ns");
        for (const std::string kind : layout::kMarkedNamespaces) {
            fs::create_symlink(kind + ":[2]", m_root / "proc/self/ns" / kind);
        }
        writeMarker("");
    }
    ~SandboxGuardTest() override { fs::remove_all(m_root); }

    void write(const std::string& path, const std::string& content) const {
        const fs::path file = m_root.string() + path;
        fs::create_directories(file.parent_path());
        std::ofstream(file) << content;
    }
    // The namespaces of the machine are others than those in here, but for `shared`.
    void writeMarker(const std::string& shared) const {
        struct stat status = {};
        ASSERT_EQ(stat((m_root / "usr/sbin/recorder").c_str(), &status), 0);
        std::string text;
        for (const std::string kind : layout::kMarkedNamespaces) {
            text += kind + (kind == shared ? ":[2]\n" : ":[1]\n");
        }
        write(layout::kMarker, text + fmt::format("{}:{}\n", status.st_dev, status.st_ino));
    }
    // All sets are empty, but for `set`; one is missing where it is to be nothing.
    static std::string statusWith(const std::string& set, const std::string& value) {
        std::string text = "Name:\tx\n";
        for (const std::string each : {"CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"}) {
            text += each != set     ? each + ":\t0000000000000000\n"
                    : value.empty() ? ""
                                    : each + ":\t" + value + "\n";
        }
        return text;
    }
    [[nodiscard]] std::string fault() const { return sandboxFault(m_root, EPERM); }

    static constexpr const char* kMounted = "21 20 0:5 / /proc ro,nosuid - proc proc rw\n"
                                            "22 21 0:4 /sys /proc/sys ro,nosuid - proc proc rw\n";
    const fs::path m_root = fs::temp_directory_path() / "guard";
};

TEST_F(SandboxGuardTest, PassesWhenEverythingIsInPlace) {
    EXPECT_EQ(fault(), "");
    EXPECT_EQ(sandboxFault("", typingError()), "");
}

TEST_F(SandboxGuardTest, RefusesWithoutMarker) {
    fs::remove(m_root.string() + layout::kMarker);
    EXPECT_EQ(fault(), "no marker");
}

TEST_F(SandboxGuardTest, RefusesInTheMachinesOwnNamespaces) {
    for (const std::string kind : layout::kMarkedNamespaces) {
        writeMarker(kind);
        EXPECT_EQ(fault(), "the " + kind + " namespace is the machine's own");
    }
    fs::remove(m_root / "proc/self/ns/pid");
    EXPECT_EQ(fault(), "the pid namespace cannot be told");
}

TEST_F(SandboxGuardTest, RefusesWhereOneMayTypeIntoATerminal) {
    for (const int typing : {0, EBADF, EFAULT, EIO}) {
        EXPECT_EQ(sandboxFault(m_root, typing), "one may type into a terminal");
    }
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
    for (const char* set : {"CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"}) {
        for (const char* value : {"0000000000400000", "0000000000000001", ""}) {
            write("/proc/self/status", statusWith(set, value));
            EXPECT_NE(fault().find("capabilities"), std::string::npos) << set << value;
        }
    }
}

TEST_F(SandboxGuardTest, RefusesKernelSettingsThatCanBeWritten) {
    for (const std::string place : layout::kKernelPlaces) {
        for (const std::string mounted : {"", "20 1 0:5 / / ro - tmpfs tmpfs rw\n"}) {
            write("/proc/self/mountinfo", mounted);
            EXPECT_EQ(fault(), "/proc is not read-only") << mounted;
        }
        write("/proc/self/mountinfo",
              kMounted + fmt::format("23 22 0:4 / {} rw,nosuid - proc proc ro\n", place));
        EXPECT_EQ(fault(), place + " is not read-only") << "a second mount on top of it";
    }
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
