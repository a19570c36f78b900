// What the process inside the sandbox does before it loads the module, and what it lets the module find.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>

#include "host/hosting/settings.h"

namespace volad_dev {

// The first step of all. Ends the process where the sandbox is not in force. Only this process holds its
// memory and these descriptors of the launcher from then on (those below 0 aside): without that, a job of the
// same user could take the pipe to the launcher out of it and write a verdict of its own. A job gets the
// default back with its exec. Throws std::system_error.
void enterInside(std::initializer_list<int> descriptors);

// The text of the settings that the launcher has read; an invalid descriptor gives the defaults. file: its
// name, for a refusal. Throws Failure.
[[nodiscard]] Settings takeSettings(int fd, const std::string& file);

// None of an earlier run, and one can be written: a command that could not be recorded would count as none.
// Throws Failure (kExitUsage).
void startRecord();
// Of a directory of the machine; gone otherwise.
void removeRecord();

// The module looks for its message file in the current directory first.
void standBesideMessages(const std::string& file);

// Read by the module as it is loaded. A trace that nobody wants is off.
void configureTrace(const std::optional<unsigned>& level);
// It was read: a job finds the environment of a host that has no such variable.
void forgetTraceLevel();
// A registry of the sandbox's own, with the one property that the module looks for; nothing is done without
// it. Throws std::runtime_error.
void configureProperty(const Settings& settings);
// Takes that registry away again.
void removeProperty();

} // namespace volad_dev
