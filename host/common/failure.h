// The one way in which a command of the tool fails.
#pragma once

#include <stdexcept>
#include <string>

#include "host/common/exit_code.h"

namespace volad_dev {

// Thrown by a command: main prints its text as one line on standard error and ends with its exit code. Any
// other exception ends the tool the same way, with kExitOtherwise.
class Failure : public std::runtime_error {
public:
    explicit Failure(const std::string& text, ExitCode code = kExitOtherwise)
        : std::runtime_error(text), m_code(code) {}
    [[nodiscard]] ExitCode code() const { return m_code; }

private:
    ExitCode m_code;
};

// "volad-dev: " and the text on standard error, as one line whatever the text holds: for a command that has
// more than one thing to say before it fails.
void printFailure(const std::string& text);

} // namespace volad_dev
