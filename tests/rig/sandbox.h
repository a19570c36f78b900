// What a test sees and sets of the sandbox: the commands that ran, the answer of the maintenance tool.
#pragma once

#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

#include "host/sandbox/command_record.h"
#include "host/sandbox/sandbox_layout.h"
#include "rig/files.h"

namespace em::test {

// What the maintenance tool answers from now on.
inline void setMaintenance(const std::string& answer) {
    writeFile(volad_dev::layout::kMaintenanceAnswer, answer + "\n");
}

// Waits for the end of every child, commands that nobody waits for included: what they ran is on record then.
// Returns how many there were.
inline int collectChildren() {
    int children = 0;
    while (::waitpid(-1, nullptr, 0) > 0) {
        ++children;
    }
    return children;
}

inline std::vector<std::string> commandLines(const volad_dev::CommandRecorder& recorder) {
    std::vector<std::string> lines;
    for (const volad_dev::CommandRecord& record : recorder.read()) {
        lines.push_back(record.commandLine());
    }
    return lines;
}

// Once there are so many; where none is expected, one is given a moment to show.
inline std::vector<std::string> commandLines(const volad_dev::CommandRecorder& recorder, size_t expected) {
    using namespace std::chrono_literals;
    static_cast<void>(expected == 0 ? recorder.waitForRecord(300ms)
                                    : recorder.waitForRecord(10s, expected - 1));
    return commandLines(recorder);
}

// Commands from its construction on.
class CommandLog {
public:
    // Those since the last call, once all have ended. Sorted: a forced command may come first.
    std::vector<std::string> take() {
        collectChildren();
        std::vector<std::string> lines = commandLines(recorder);
        lines.erase(lines.begin(), lines.begin() + m_taken);
        m_taken += std::ssize(lines);
        std::sort(lines.begin(), lines.end());
        return lines;
    }

    const volad_dev::CommandRecorder recorder;

private:
    std::ptrdiff_t m_taken = std::ssize(commandLines(recorder));
};

} // namespace em::test
