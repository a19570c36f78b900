// What a rehearsal shall be, as chosen on the command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "contract/shutdown_actions.h"
#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// When the module shall power off by itself: "in:Nm" or "HH:MM".
struct Schedule {
    std::optional<unsigned> inMinutes;
    std::optional<uint16_t> minuteOfDay;
};

// What the process inside the sandbox needs to know.
struct RehearsalOptions {
    const em::ShutdownAction* action = em::findShutdownAction(em::opcode::CM_RequestShutdownAndOff);
    std::string module; // path of the shared object
    uint8_t reason = 0;
    std::string settings;              // path, empty for none; inside it only names what settingsFd holds
    std::string messages;              // path of a message file, empty for none
    std::optional<double> cancelAfter; // seconds after the request
    std::optional<double> stopAfter;
    std::optional<Schedule> schedule; // instead of a request
    std::optional<unsigned> trace;    // level; nothing: the trace is off, and not shown
    bool withoutDelay = false;        // for a job alone
    // What the sandbox was told, for the end that is to be expected.
    Maintenance maintenance = Maintenance::On;
    unsigned uid = 0;

    int stopFd = -1;     // readable when the rehearsal shall end
    int eventsFd = -1;   // where the launcher is told what happens
    int settingsFd = -1; // the text of the settings
};

// What only the launcher needs, besides.
struct LaunchOptions {
    RehearsalOptions run;
    SandboxOptions sandbox;
    std::string settingsText;
    bool maintenanceHere = false; // this machine's answer counts
    bool jobOnly = false;         // only the job is shown
    bool strict = false;          // a job that failed or ran past its limit is not as asked
    std::string json;             // file for the run, "-" for standard output, empty for none
};

} // namespace volad_dev
