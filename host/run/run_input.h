// The shutdowns of a file that is told by its content: the JSON of a rehearsal, or else a trace.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/run/known_run.h"

namespace volad_dev {

struct RunInput {
    size_t shutdowns = 0;
    std::string noJson;            // why a file that begins as JSON does is no run's, empty for any other
    std::optional<unsigned> level; // of the trace, as far as it shows one
};

// "-" is standard input. Gives the shutdowns in the order of the asking. Throws Failure when the file cannot
// be read.
[[nodiscard]] RunInput readRuns(const std::string& file, const std::function<void(KnownRun&&)>& sink);

// Of a file without a shutdown: there may still be something to say about the trace.
[[nodiscard]] std::string nothingFoundText(const std::string& file, const RunInput& input);

} // namespace volad_dev
