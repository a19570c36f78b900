// A run in words, for people. What comes from outside is made visible; each line has its line end.
#pragma once

#include <string>

#include "host/run/run.h"

namespace volad_dev {

// "off by request, reason 3: The time set for the shutdown has come"
[[nodiscard]] std::string askedText(const Asked& asked);

struct RunTextBounds {
    size_t outputLines; // of what the job printed, the last
    size_t columns;     // in which names and lines of others are cut; 0: they are not
};

// How it ended, what was assumed, what was started, what became of the job, what should be known besides. Of
// the job's output some lines were dropped before.
[[nodiscard]] std::string verdictText(const ShutdownRun& run, const RunTextBounds& bounds,
                                      size_t droppedLines);
// The part of it that is about the job.
[[nodiscard]] std::string jobText(const ShutdownRun& run, const RunTextBounds& bounds, size_t droppedLines);

} // namespace volad_dev
