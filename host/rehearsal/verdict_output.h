// A verdict for people and for programs.
#pragma once

#include <string>

#include "host/rehearsal/verdict.h"

namespace volad_dev {

// Some lines, each with its line end.
[[nodiscard]] std::string verdictText(const Verdict& verdict);
// One JSON object:
//   "end" (text), "asAsked" (bool), "askedBy", "reason" (number), "reasonName",
//   "command" (null, or "line", "seconds" after the request, "time" since 1970, "directory"),
//   "phases" ([{"name", "seconds"}]), "left" ([{"file", "bytes"}]).
[[nodiscard]] std::string verdictJson(const Verdict& verdict);

} // namespace volad_dev
