// What the recorder wrote down about the commands that the module started.
#pragma once

#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/unique_fd.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {

struct CommandRecord {
    std::string name; // as the command was called
    std::vector<std::string> arguments;
    double time = 0;      // seconds since 1970
    double monotonic = 0; // seconds on the monotonic clock
    pid_t pid = 0;
    std::vector<pid_t> ancestors; // parent first
    std::string directory;
    std::string blocked;                    // signal mask in hexadecimal, signal 1 in the lowest bit
    std::map<int, std::string> descriptors; // open ones and where each leads

    [[nodiscard]] bool hasAncestor(pid_t process) const {
        return std::ranges::find(ancestors, process) != ancestors.end();
    }
    // "/sbin/poweroff -f"
    [[nodiscard]] std::string commandLine() const;
};

// Reads and waits for records. Make it before the command may be started: it sees what is appended from then
// on, and what was there already. One thread at a time.
class CommandRecorder {
public:
    // Throws std::system_error when the directory cannot be watched.
    explicit CommandRecorder(std::string file = layout::kCommandRecord);

    // All whole lines so far that are records.
    [[nodiscard]] std::vector<CommandRecord> read() const;

    // How many lines of the last read() were none.
    [[nodiscard]] size_t garbled() const { return m_garbled; }

    // Readable once something was appended since the last read().
    [[nodiscard]] int fd() const { return m_watch.get(); }

    // The record number `index` (from 0) as soon as it is there; nothing when the time is over.
    [[nodiscard]] std::optional<CommandRecord> waitForRecord(std::chrono::milliseconds timeout,
                                                             size_t index = 0) const;

private:
    std::string m_file;
    em::UniqueFd m_watch;
    mutable size_t m_garbled = 0;
};

} // namespace volad_dev
