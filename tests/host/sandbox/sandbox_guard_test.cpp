// The guard against a tree that is laid out like either sandbox, with one thing wrong at a time.
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

static void PrintTo(SandboxMode mode, std::ostream* stream) {
    *stream << rulesOf(mode).name;
}

namespace {

namespace fs = std::filesystem;

class SandboxGuardTest : public testing::TestWithParam<SandboxMode> {
protected:
    SandboxGuardTest() {
        write("/usr/sbin/stand-in", m_rules.signature);
        fs::create_symlink("usr/sbin", m_root / "sbin");
        for (const em::ShutdownAction& action : em::kShutdownActions) {
            fs::create_hard_link(m_root / "usr/sbin/stand-in",
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
    void writeMarker(const std::string& shared) const { writeMarker(shared, m_rules.name); }
    void writeMarker(const std::string& shared, const char* name) const {
        struct stat status = {};
        ASSERT_EQ(stat((m_root / "usr/sbin/stand-in").c_str(), &status), 0);
        std::string text;
        for (const std::string kind : layout::kMarkedNamespaces) {
            text += kind + (kind == shared ? ":[2]\n" : ":[1]\n");
        }
        write(layout::kMarker, text + fmt::format("{}:{} {}\n", status.st_dev, status.st_ino, name));
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
    [[nodiscard]] std::string fault() const { return sandboxFault(m_root, EPERM, GetParam()); }
    [[nodiscard]] std::string notIt(const std::string& path) const {
        return fmt::format("{} is not the {}", path, m_rules.name);
    }

    static constexpr const char* kMounted = "21 20 0:5 / /proc ro,nosuid - proc proc rw\n"
                                            "22 21 0:4 /sys /proc/sys ro,nosuid - proc proc rw\n";
    const SandboxRules m_rules = rulesOf(GetParam());
    const fs::path m_root = fs::temp_directory_path() / "guard";
};

TEST(SandboxGuard, PassesInTheSandboxOfTheSuitesAndDoesNotTakeItForTheOther) {
    EXPECT_EQ(sandboxFault("", typingError()), "");
    EXPECT_EQ(sandboxFault("", typingError(), SandboxMode::Ending), "/usr/sbin/reboot is not the ender");
}

TEST_P(SandboxGuardTest, RefusesTheOtherSandbox) {
    const bool ending = GetParam() == SandboxMode::Ending;
    const SandboxMode other = ending ? SandboxMode::Recording : SandboxMode::Ending;
    EXPECT_NE(sandboxFault(m_root, EPERM, other), "");
    writeMarker("", rulesOf(other).name);
    EXPECT_NE(fault(), "") << "what is there has another name in the marker";
    EXPECT_NE(sandboxFault(m_root, EPERM, other), "") << "the name alone makes it no other";
}

TEST_P(SandboxGuardTest, RefusesWithoutMarker) {
    fs::remove(m_root.string() + layout::kMarker);
    EXPECT_EQ(fault(), "no marker");
}

TEST_P(SandboxGuardTest, RefusesInTheMachinesOwnNamespaces) {
    for (const std::string kind : layout::kMarkedNamespaces) {
        writeMarker(kind);
        EXPECT_EQ(fault(), "the " + kind + " namespace is the machine's own");
    }
    for (const auto& [kind, first] : {std::pair("pid", "pid:[4026531836]"), {"user", "user:[4026531837]"}}) {
        writeMarker("");
        fs::remove(m_root / "proc/self/ns" / kind);
        EXPECT_EQ(fault(), fmt::format("the {} namespace cannot be told", kind));
        fs::create_symlink(first, m_root / "proc/self/ns" / kind);
        EXPECT_EQ(fault(), fmt::format("the {} namespace is the machine's own", kind))
            << "whatever a marker says";
        fs::remove(m_root / "proc/self/ns" / kind);
        fs::create_symlink(std::string(kind) + ":[2]", m_root / "proc/self/ns" / kind);
    }
}

TEST_P(SandboxGuardTest, RefusesWhereOneMayTypeIntoATerminal) {
    for (const int typing : {0, EBADF, EFAULT, EIO}) {
        EXPECT_EQ(sandboxFault(m_root, typing, GetParam()), "one may type into a terminal");
    }
}

TEST_P(SandboxGuardTest, RefusesACommandThatIsNotTheStandIn) {
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        const std::string command = layout::realPlaceOf(action.command);
        const std::string path = m_root.string() + command;
        fs::remove(path);
        EXPECT_EQ(fault(), notIt(path)) << "missing";
        write(command, m_rules.signature);
        EXPECT_EQ(fault(), notIt(path)) << "another file";
        fs::remove(path);
        fs::create_hard_link(m_root / "usr/sbin/stand-in", path);
        EXPECT_EQ(fault(), "");
    }
}

TEST_P(SandboxGuardTest, RefusesAStandInWithoutSignature) {
    write("/usr/sbin/stand-in", "something else, named in the marker all the same");
    EXPECT_EQ(fault(), notIt(m_root.string() + "/usr/sbin/reboot"));
}

TEST_P(SandboxGuardTest, RefusesWhenTheModulesPathLeadsElsewhere) {
    fs::remove(m_root / "sbin");
    write("/sbin/reboot", m_rules.signature);
    EXPECT_EQ(fault(), notIt(m_root.string() + "/sbin/reboot"));
}

TEST_P(SandboxGuardTest, RefusesAnyCapabilityButTheOneThatTheEnderNeeds) {
    for (const char* set : {"CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"}) {
        for (const char* value :
             {"0000000000000001", "0000000000600000", "000001fffeffffff", "x", "40000g", ""}) {
            write("/proc/self/status", statusWith(set, value));
            EXPECT_NE(fault().find("capabilities"), std::string::npos) << set << value;
        }
        write("/proc/self/status", statusWith(set, "0000000000400000"));
        EXPECT_EQ(fault().empty(), GetParam() == SandboxMode::Ending) << set;
    }
}

TEST_P(SandboxGuardTest, RefusesKernelSettingsThatCanBeWritten) {
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

TEST_P(SandboxGuardTest, RefusesASocketOfTheServiceManagerOrTheBus) {
    for (const char* socket : {"/run/systemd/private", "/run/dbus/system_bus_socket", "/run/initctl"}) {
        write(socket, "");
        EXPECT_EQ(fault(), std::string(socket) + " is there");
        fs::remove(m_root.string() + socket);
    }
}

INSTANTIATE_TEST_SUITE_P(Both, SandboxGuardTest, testing::Values(SandboxMode::Recording, SandboxMode::Ending),
                         [](const auto& mode) { return rulesOf(mode.param).name; });

} // namespace
} // namespace volad_dev
