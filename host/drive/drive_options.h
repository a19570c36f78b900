// What a driven run shall be, as chosen on the command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace volad_dev {

// What the process inside the sandbox needs to know.
struct DriveOptions {
    std::string script;            // its name, "-" for standard input
    std::string here;              // the directory that "{here}" stands for in a setting
    std::string module;            // path of the shared object
    std::string settings;          // path, empty for none; inside it only names what settingsFd holds
    std::string messages;          // path of a message file, empty for none
    std::optional<unsigned> trace; // level to be shown; nothing: everything is traced and nothing shown
    uint32_t limit = 600;          // seconds
    bool goesOn = false;           // behind a line that a script may not have: a person types it

    int stopFd = -1;     // readable when the run shall end
    int eventsFd = -1;   // where the launcher is told what happens
    int scriptFd = -1;   // the lines, as they come
    int settingsFd = -1; // the text of the settings
};

} // namespace volad_dev
