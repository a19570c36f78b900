// One run of a shutdown as it was seen from the host: who asked and why, what was said in both directions,
// how far it came, what became of the job, which command was started, and how it ended. A rehearsal fills it;
// what is shown to people and to programs is made from it alone.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/run/run_end.h"

namespace volad_dev {

// All times are seconds after the request; what came before it is negative.

struct Asked {
    std::string by;        // "request", "reply", "schedule" or "power-switch"
    std::string operation; // "off", "reset" or "halt"
    uint8_t reason = 0;
    std::string reasonText;
};

struct Gate {
    std::string assumed; // what the module was answered: "on", "off" or "missing"
    std::string here;    // what this machine would answer: "missing", "enabled", "disabled" or "not-asked"
};

struct JobRun {
    std::string command;
    std::string directory;           // where it really ran; empty when that is not known
    std::optional<bool> started;     // false: not found or not executable; nothing: nobody waited for it
    std::optional<int> exitCode;     // neither this nor a signal while it runs, or when nobody waited for it
    std::optional<int> signal;       // the one that ended it
    bool timedOut = false;           // still running at its limit, and left alone
    double seconds = 0;              // until its end, or until it was left alone
    std::vector<std::string> output; // its last lines, of standard output and error

    // Ended by itself, with exit code 0.
    [[nodiscard]] bool succeeded() const { return started == true && !timedOut && exitCode == 0; }
};

struct CommandRun {
    std::string line; // "/sbin/poweroff"
    double seconds = 0;
    std::string directory;
};

struct Phase {
    std::string name;
    double start = 0;
    double seconds = 0;
};

struct RunMessage {
    double at = 0;
    bool toModule = false;
    std::string envelope; // JSON text
};

struct RunStatus {
    double at = 0;
    uint8_t value = 0; // of ShutdownStatus
};

struct LeftFile {
    std::string file; // relative to the scratch directory
    uint64_t bytes = 0;
};

// What the run itself does not show, and who believes in it should know.
struct Warning {
    std::string code, text;
};

struct ShutdownRun {
    RunEnd end = RunEnd::Interrupted;
    bool asAsked = false;
    Asked asked;
    Gate gate;
    std::optional<JobRun> job;
    std::optional<CommandRun> command;
    std::vector<Phase> phases;
    std::vector<RunMessage> messages;
    std::vector<RunStatus> statuses;
    std::vector<LeftFile> left;
    std::vector<Warning> warnings;
};

} // namespace volad_dev
