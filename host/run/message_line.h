// A message of host and module as its line of the trace shows it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/run/trace_line.h"

namespace volad_dev {

struct MessageLine {
    enum class Direction { Request, Return, Reply };
    Direction direction;
    uint32_t operationCode, status;
    std::optional<uint32_t> data; // when it is a number
    std::string envelope;         // JSON text, as far as the line shows it
};

[[nodiscard]] MessageLine readMessageLine(const TraceLine& line);
// Of a message that another line tells of: JSON text.
[[nodiscard]] std::string envelopeText(uint32_t operationCode, uint32_t data);

} // namespace volad_dev
