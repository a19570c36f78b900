// What the sandbox's recorder saw of the commands that end a system.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "host/sandbox/command_record.h"

namespace module_test {

// The command lines so far. So many are waited for; where none is expected, one is given a moment to show.
inline std::vector<std::string> commandLines(const volad_dev::CommandRecorder& recorder, size_t expected) {
    using namespace std::chrono_literals;
    static_cast<void>(expected == 0 ? recorder.waitForRecord(300ms)
                                    : recorder.waitForRecord(10s, expected - 1));
    std::vector<std::string> lines;
    for (const volad_dev::CommandRecord& record : recorder.read()) {
        lines.push_back(record.commandLine());
    }
    return lines;
}

} // namespace module_test
