// Reads what a script waits for, expects or refuses.
#pragma once

#include "host/drive/line_scanner.h"
#include "host/drive/statement.h"

namespace volad_dev {

// Behind the verb: wait, expect or refuse. Throws ScriptFault.
[[nodiscard]] Expectation expectationOf(LineScanner& line, Verb verb);

} // namespace volad_dev
