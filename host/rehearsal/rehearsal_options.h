// What a rehearsal shall be, as chosen on the command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "contract/shutdown_actions.h"
#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// When the module shall power off by itself: "in:1m" or "HH:MM".
struct Schedule {
    std::optional<unsigned> inMinutes;
    std::optional<uint16_t> minuteOfDay;
};

struct RehearsalOptions {
    const em::ShutdownAction* action = em::findShutdownAction(em::opcode::CM_RequestShutdownAndOff);
    std::string module; // path of the shared object
    uint8_t reason = 0;
    std::string settings;              // path, empty for none
    std::string messages;              // path of a message file, empty for none
    std::optional<double> cancelAfter; // seconds after the request
    std::optional<double> stopAfter;
    Maintenance maintenance = Maintenance::On;
    std::optional<Schedule> schedule; // instead of a request
    unsigned trace = 3;               // level, 0 is silent
    std::string json;                 // file for the verdict, empty for none

    // Given by the tool to itself where it starts anew inside the sandbox.
    bool inside = false;
    int stopFd = -1; // readable when the rehearsal shall end
    int jsonFd = -1; // where the verdict goes
};

} // namespace volad_dev
