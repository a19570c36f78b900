// A line whose format stands in a table.
#pragma once

#include "trace/trace.h"

namespace em {

// The compiler cannot check the format against the arguments, so a table's rows all take the same ones, and a
// test writes every row. Null writes nothing.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
template <class... Argument>
void traceTableLine(uint32_t level, const char* format, Argument... argument) {
    if (format != nullptr) {
        EM_TRACE(level, format, argument...);
    }
}
#pragma GCC diagnostic pop

} // namespace em
