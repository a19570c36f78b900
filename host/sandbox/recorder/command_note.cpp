#include "host/sandbox/recorder/command_note.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            result.append({'\\', character});
        } else if (byte < 0x20) {
            char escape[8];
            static_cast<void>(std::snprintf(escape, sizeof escape, "\\u%04x", byte));
            result += escape;
        } else {
            result += character;
        }
    }
    return result + '"';
}

double seconds(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::string workingDirectory() {
    const std::unique_ptr<char, void (*)(void*)> path(get_current_dir_name(), std::free);
    return path ? path.get() : "";
}

// By which path, whatever it was called: a caller may give it another name.
std::string executedFile() {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel's way to hand it over
    const auto* const file = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
    return file != nullptr ? file : "";
}

// The mask as the kernel prints it: hexadecimal, signal 1 in the lowest bit.
std::string blockedSignals() {
    const std::unique_ptr<FILE, int (*)(FILE*)> status(std::fopen("/proc/self/status", "re"), std::fclose);
    char line[256];
    while (status && std::fgets(line, sizeof line, status.get()) != nullptr) {
        char mask[32];
        if (std::sscanf(line, "SigBlk: %31s", mask) == 1) {
            return mask;
        }
    }
    return "";
}

// Parent first, up to the first process. By these a reader tells whose command it is: what a job leaves
// running has another line than what the module starts.
std::string ancestors() {
    std::string list;
    for (int pid = getppid(); pid > 0;) {
        list += (list.empty() ? "" : ",") + std::to_string(pid);
        const std::unique_ptr<FILE, int (*)(FILE*)> status(
            std::fopen(("/proc/" + std::to_string(pid) + "/status").c_str(), "re"), std::fclose);
        char line[256];
        pid = 0;
        while (status && pid == 0 && std::fgets(line, sizeof line, status.get()) != nullptr) {
            static_cast<void>(std::sscanf(line, "PPid: %d", &pid));
        }
    }
    return list;
}

std::string openDescriptors() {
    std::string list;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir("/proc/self/fd"), closedir);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the recorder has one thread
    while (const dirent* entry = directory ? readdir(directory.get()) : nullptr) {
        const bool own = std::atoi(entry->d_name) == dirfd(directory.get());
        if (entry->d_name[0] == '.' || own) {
            continue;
        }
        char target[512];
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        const ssize_t length = readlink(link.c_str(), target, sizeof target);
        list += list.empty() ? "" : ",";
        list += quoted(entry->d_name) + ':' +
                quoted(std::string(target, length > 0 ? static_cast<size_t>(length) : 0));
    }
    return list;
}

std::string argumentList(int argc, char** argv) {
    std::string list;
    for (int i = 1; i < argc; ++i) {
        list += (list.empty() ? "" : ",") + quoted(argv[i]);
    }
    return list;
}

// Into a file only, and never waiting: a job may have put a FIFO in its place, or left half a line.
bool append(const std::string& line) {
    const int file =
        open(layout::kCommandRecord, O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0644);
    struct stat status = {};
    if (file < 0 || fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    char last = '\n';
    const bool whole = status.st_size == 0 || pread(file, &last, 1, status.st_size - 1) != 1 || last == '\n';
    const std::string text = (whole ? "" : "\n") + line;
    return write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && close(file) == 0;
}

} // namespace

bool noteCommand(int argc, char** argv) {
    // First, before a descriptor of our own is open.
    const std::string descriptors = openDescriptors();
    char numbers[128];
    static_cast<void>(std::snprintf(numbers, sizeof numbers, "\"pid\":%d,\"time\":%.6f,\"monotonic\":%.6f",
                                    getpid(), seconds(CLOCK_REALTIME), seconds(CLOCK_MONOTONIC)));
    const std::string line =
        "{\"name\":" + quoted(argc > 0 ? argv[0] : "") + ",\"file\":" + quoted(executedFile()) +
        ",\"arguments\":[" + argumentList(argc, argv) + "],\"ancestors\":[" + ancestors() + "]," + numbers +
        ",\"directory\":" + quoted(workingDirectory()) + ",\"blocked\":" + quoted(blockedSignals()) +
        ",\"descriptors\":{" + descriptors + "}}\n";
    return append(line);
}

} // namespace volad_dev
