// The options of a rehearsal that reach the process inside the sandbox.
#pragma once

#include <CLI/App.hpp>

#include "host/rehearsal/rehearsal_options.h"

namespace volad_dev {

// What is asked for, and how.
void addRequestOptions(CLI::App& app, RehearsalOptions& options);
// Where the module and its files are.
void addFileOptions(CLI::App& app, RehearsalOptions& options);
void addFileOptions(CLI::App& app, std::string& module, std::string& settings, std::string& messages);
// The level of the trace that is shown.
void addTraceOption(CLI::App& app, std::optional<unsigned>& level, const char* description);

} // namespace volad_dev
