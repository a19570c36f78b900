// The process-wide channel to the system log, opened by its first use: openlog replaces the host's own
// identity and facility, so nothing else may open it. It is never closed.
// Why: docs/decisions/log-text-is-no-format.md
#pragma once

#include <cstdarg>

namespace em {

// Writes one text at LOG_INFO: leading newlines of the format are skipped (a format of newlines only stands
// as it is), the text is cut after 1,023 bytes, and in the result "%%" gives "%" and "%m" the error text of
// errno at entry. Consumes the arguments. Leaves errno alone. Any thread.
__attribute__((format(printf, 1, 0))) void writeSystemLog(const char* format, va_list arguments);

} // namespace em
