// What of the module was seen since it was created, and how far the waits of a script have come in it.
//
// Status, trace, messages and commands each have an order of their own and a mark of their own. A wait looks
// at all that came behind the mark, also before it began, and sets the mark behind what it found: nothing is
// missed between two lines of a script, and the same thing can be waited for twice.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/drive/statement.h"
#include "host/drive/trace_log.h"
#include "host/hosting/development_host.h"
#include "host/rehearsal/started_commands.h"
#include "host/sandbox/command_record.h"

namespace volad_dev {

// One thread, that of the script.
class Sightings {
public:
    Sightings(DevelopmentHost& host, const TraceLog& trace) : m_host(host), m_trace(trace) {}

    // A module is about to be created: all that was seen is another one's.
    void begin();

    // A wait's look: what came, in words, and the mark goes behind it. Nothing when it did not come.
    [[nodiscard]] std::optional<std::string> take(const Expectation& expectation);
    // The same of all that was seen since begin(), and no mark moves. Not for the status and the answer.
    [[nodiscard]] std::optional<std::string> find(const Expectation& expectation) const;

    // Descriptors of which one is readable once something of that kind came behind the last look at it.
    [[nodiscard]] std::vector<int> news(Seen seen) const;
    // What was seen of that kind at last, in words: for a failure to tell.
    [[nodiscard]] std::string seen(const Expectation& expectation) const;

private:
    struct Marks {
        size_t status = 0, trace = 0, message = 0, command = 0; // numbers of what comes next
    };

    struct Found {
        size_t next; // the number behind it
        std::string what;
    };
    [[nodiscard]] std::optional<Found> find(const Expectation& expectation, const Marks& marks) const;
    [[nodiscard]] std::optional<Found> findStatus(const Expectation& expectation, size_t from) const;
    [[nodiscard]] std::optional<Found> findTrace(const Expectation& expectation, size_t from) const;
    [[nodiscard]] std::optional<Found> findMessage(const Expectation& expectation, size_t from) const;
    [[nodiscard]] std::optional<Found> findCommand(const Expectation& expectation, size_t from) const;
    [[nodiscard]] std::vector<CommandRecord> commands() const;
    [[nodiscard]] uint32_t statusIn(const std::vector<Message>& messages) const;

    DevelopmentHost& m_host;
    const TraceLog& m_trace;
    const CommandRecorder m_recorder;
    Marks m_begin, m_marks;
};

} // namespace volad_dev
