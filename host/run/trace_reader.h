// Reads the shutdowns of a plain trace, as a host writes it: any level, prefixes that are not known, lines of
// other modules between, several shutdowns in one file, cut at either end. Memory does not grow with the
// trace.
#pragma once

#include <functional>
#include <list>
#include <string>
#include <string_view>

#include "host/run/known_run.h"
#include "host/run/module_life.h"
#include "host/run/run_order.h"
#include "host/run/trace_scanner.h"

namespace volad_dev {

class TraceReader {
public:
    // The sink is given each shutdown, in the order in which they were asked for (RunOrder).
    explicit TraceReader(std::function<void(KnownRun&&)> sink);
    TraceReader(const TraceReader&) = delete;
    TraceReader& operator=(const TraceReader&) = delete;

    // The next bytes, cut anywhere.
    void take(std::string_view bytes) { m_scanner.take(bytes); }
    // No more will come: gives what is still open.
    void finish();

    // The highest that any of its lines shows; nothing when none is the module's.
    [[nodiscard]] std::optional<unsigned> level() const { return m_level; }

private:
    struct Process {
        std::string name; // as the prefix has it; empty where it has none
        ModuleLife life;
    };

    void takeLine(const TraceLine& line);
    ModuleLife& lifeOf(std::string_view process);

    RunOrder m_order;
    TraceScanner m_scanner;
    std::list<Process> m_processes; // the one that wrote last in front
    std::optional<unsigned> m_level;
};

} // namespace volad_dev
