// Stands in place of each command that ends a system, in a sandbox of its own kind: writes down how it was
// called, proves to itself that it can end nothing but that sandbox, and calls reboot(2), so that the kernel
// tells the launcher what would have become of the machine. Anywhere else it refuses.
#include <fcntl.h>
#include <linux/magic.h>
#include <linux/nsfs.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/reboot.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>

#include "host/sandbox/recorder/command_note.h"
#include "host/sandbox/sandbox_guard.h"
#include "host/sandbox/sandbox_layout.h"
#include "host/sandbox/sandbox_mode.h"
#include "host/sandbox/system_call_filter.h"
#include "verdict/ender/reboot_proof.h"
#include "verdict/ender/verdict_note.h"

namespace volad_dev {
namespace {

// The guard finds it in the file.
[[gnu::used]] const char* const signature = rulesOf(SandboxMode::Ending).signature;

struct Command {
    std::string_view name;
    unsigned request;
};

// Written down once more: the product's table is what is tested.
constexpr std::array<Command, 3> kCommands = {
    {{"/sbin/poweroff", RB_POWER_OFF}, {"/sbin/reboot", RB_AUTOBOOT}, {"/sbin/halt", RB_HALT_SYSTEM}}};

// By what the kernel opens, of a real /proc: a link's text may be anybody's.
std::string presentNamespace() {
    struct statfs process = {};
    struct statfs opened = {};
    struct stat status = {};
    const int file = open("/proc/self/ns/pid", O_RDONLY | O_CLOEXEC);
    const bool told = file >= 0 && statfs("/proc", &process) == 0 && process.f_type == PROC_SUPER_MAGIC &&
                      fstatfs(file, &opened) == 0 && opened.f_type == NSFS_MAGIC &&
                      ioctl(file, NS_GET_NSTYPE) == CLONE_NEWPID && fstat(file, &status) == 0;
    if (file >= 0) {
        close(file);
    }
    return told ? "pid:[" + std::to_string(status.st_ino) + "]" : "";
}

std::string markedNamespace() {
    static_assert(std::string_view(layout::kMarkedNamespaces[0]) == "pid");
    std::string line;
    std::ifstream marker(layout::kMarker);
    return std::getline(marker, line) ? line : "";
}

int disableKeys() {
    return reboot(RB_DISABLE_CAD) == 0 ? 0 : errno;
}

bool note(const std::string& line) {
    const int file = open(kVerdictNote, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    return file >= 0 && write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size()) &&
           close(file) == 0;
}

int refuse(const std::string& reason) {
    static_cast<void>(note(kRebootRefused + reason + '\n'));
    return EXIT_FAILURE;
}

int endNamespace(int argc, char** argv) {
    const bool noted = noteCommand(argc, argv);
    const std::string_view name = argc > 0 ? argv[0] : "";
    const Command* command = nullptr;
    for (const Command& known : kCommands) {
        command = known.name == name ? &known : command;
    }
    if (!noted || command == nullptr) {
        return refuse(noted ? "called by another name" : "the record cannot be written");
    }
    const std::string fault = rebootFault({sandboxFault("", typingError(), SandboxMode::Ending),
                                           presentNamespace(), markedNamespace(), disableKeys});
    if (!fault.empty()) {
        return refuse(fault);
    }
    if (!note(kRebootCalled)) {
        return EXIT_FAILURE;
    }
    reboot(static_cast<int>(command->request));
    return refuse(std::string("reboot(2) came back: ") + strerrorname_np(errno));
}

} // namespace
} // namespace volad_dev

int main(int argc, char** argv) {
    return volad_dev::endNamespace(argc, argv);
}
