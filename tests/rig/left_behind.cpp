#include "rig/left_behind.h"

#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace em::test {
namespace {

namespace fs = std::filesystem;
using Things = std::set<std::string>;

const std::string kOwn = "/proc/self/";

// Empty when it cannot be read, as of a process that has ended meanwhile.
std::string contentOf(const fs::path& path) {
    std::ifstream file(path);
    std::string text{std::istreambuf_iterator(file), {}};
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

void addThreads(Things& things) {
    for (const auto& task : fs::directory_iterator(kOwn + "task")) {
        things.insert("thread " + task.path().filename().string() + " " + contentOf(task.path() / "comm"));
    }
}

// "1234 (its name) S ...": the state stands behind the name, which may contain anything.
void addProcesses(Things& things) {
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string pid = entry.path().filename().string();
        const std::string status = std::isdigit(pid.front()) != 0 ? contentOf(entry.path() / "stat") : "";
        const size_t end = status.rfind(") ");
        if (end != std::string::npos && pid != std::to_string(::getpid())) {
            const bool uncollected = status.compare(end, 3, ") Z") == 0;
            things.insert((uncollected ? "uncollected child " : "process ") + status.substr(0, end + 1));
        }
    }
}

void addDescriptors(Things& things) {
    std::error_code gone; // the directory's own descriptor
    std::vector<fs::path> links;
    for (const auto& descriptor : fs::directory_iterator(kOwn + "fd")) {
        links.push_back(descriptor.path());
    }
    for (const fs::path& link : links) {
        const fs::path target = fs::read_symlink(link, gone);
        if (!gone) {
            things.insert("descriptor " + link.filename().string() + " " + target.string());
        }
    }
}

// "1: FLOCK  ADVISORY  WRITE 1234 fd:00:5678 0 EOF". A child may keep the file open that we have closed, so
// our descriptors do not tell.
void addLocks(Things& things) {
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number, kind, strength, access, holder, file;
        words >> number >> kind >> strength >> access >> holder >> file;
        if (holder == std::to_string(::getpid())) {
            things.insert("lock " + kind + " " + access + " on " + file);
        }
    }
}

void addSignalMask(Things& things) {
    std::ifstream status("/proc/thread-self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigBlk")) {
            things.insert(line);
        }
    }
}

void addFiles(const std::string& directory, Things& things) {
    std::error_code missing;
    for (const auto& entry : fs::recursive_directory_iterator(directory, missing)) {
        things.insert("file " + entry.path().string());
    }
}

std::string linesOf(const char* what, const Things& these, const Things& butNot) {
    std::string lines;
    for (const std::string& thing : these) {
        lines += butNot.contains(thing) ? "" : what + thing + "\n";
    }
    return lines;
}

} // namespace

LeftBehind::LeftBehind(std::vector<std::string> directories)
    : m_directories(std::move(directories)), m_before(present()) {}

std::string LeftBehind::difference(std::chrono::milliseconds limit) const {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const Things now = present();
        if (now == m_before || std::chrono::steady_clock::now() >= end) {
            return linesOf("left: ", now, m_before) + linesOf("gone: ", m_before, now);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

LeftBehind::Things LeftBehind::present() const {
    Things things;
    addThreads(things);
    addProcesses(things);
    addDescriptors(things);
    addLocks(things);
    addSignalMask(things);
    for (const std::string& directory : m_directories) {
        addFiles(directory, things);
    }
    return things;
}

} // namespace em::test
