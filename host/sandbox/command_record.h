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
    std::string name;           // as the command was called
    std::string file;           // what was run, as it was named for that
    int pid = 0;                // its process, and the one that started it, as they are numbered inside
    std::vector<int> ancestors; // the parent first, up to the first process
    std::vector<std::string> arguments;
    double time = 0;      // seconds since 1970
    double monotonic = 0; // seconds on the monotonic clock
    std::string directory;
    std::string blocked;                    // signal mask in hexadecimal, signal 1 in the lowest bit
    std::map<int, std::string> descriptors; // open ones and where each leads

    [[nodiscard]] bool hasAncestor(int process) const {
        return std::ranges::find(ancestors, process) != ancestors.end();
    }
    // "/sbin/poweroff -f"
    [[nodiscard]] std::string commandLine() const;
};

// Reads and waits for records. Make it before the command may be started: it sees what is appended from then
// on, and what was there already. One thread at a time.
// A job may write into the file, remove it or put something else in its place: what is no record is skipped,
// what is no file is not there, and a file that was seen once is read on, whatever its name is by now.
// Nothing of it makes a call hang or throw.
class CommandRecorder {
public:
    // Throws std::system_error when the directory cannot be watched.
    explicit CommandRecorder(std::string file = layout::kCommandRecord);

    // The records of all whole lines so far, of at most kMostRead bytes. skipped: how many lines were none.
    [[nodiscard]] std::vector<CommandRecord> read(size_t* skipped = nullptr) const;
    static constexpr size_t kMostRead = size_t{4} << 20;

    // Whether a read found less than an earlier one, or more files than are held: something may be missing.
    [[nodiscard]] bool wasCut() const { return m_cut; }

    // Readable once something was appended since the last read().
    [[nodiscard]] int fd() const { return m_watch.get(); }

    // The record number `index` (from 0) as soon as it is there; nothing when the time is over.
    [[nodiscard]] std::optional<CommandRecord> waitForRecord(std::chrono::milliseconds timeout,
                                                             size_t index = 0) const;

private:
    struct Held {
        em::UniqueFd file;
        dev_t device;
        ino_t inode;
        off_t largest;
    };
    void holdWhatIsThere() const;

    std::string m_file;
    em::UniqueFd m_watch;
    // What was in its place so far, the first one first. A read takes note of it.
    mutable std::vector<Held> m_held;
    mutable bool m_cut = false;
};

} // namespace volad_dev
