#include "host/run/trace_reader.h"

#include <algorithm>
#include <utility>

#include "contract/module_interface.h"

namespace volad_dev {
namespace {

constexpr size_t kMostProcesses = 16; // that are told apart at a time

bool isOfOtherModule(const TraceLine& line) {
    return (line.kind->event == TraceEvent::Starting || line.kind->event == TraceEvent::Stopping) &&
           line.fields.text(0) != em::kModuleName;
}

} // namespace

TraceReader::TraceReader(std::function<void(KnownRun&&)> sink)
    : m_order(std::move(sink)), m_scanner([this](const TraceLine& line) { takeLine(line); }) {}

void TraceReader::takeLine(const TraceLine& line) {
    if (isOfOtherModule(line)) {
        return;
    }
    if (!isOfQueue(line.kind->event)) {
        m_level = std::max(m_level.value_or(0), line.kind->level);
    }
    lifeOf(findProcess(line.prefix)).take(line);
}

// A module that is restarted may overlap with the one before; only the process tells them apart.
ModuleLife& TraceReader::lifeOf(std::string_view process) {
    const auto found = std::find_if(m_processes.begin(), m_processes.end(),
                                    [process](const Process& known) { return known.name == process; });
    if (found != m_processes.end()) {
        m_processes.splice(m_processes.begin(), m_processes, found);
        return m_processes.front().life;
    }
    if (m_processes.size() == kMostProcesses) {
        m_processes.back().life.end();
        m_processes.pop_back();
    }
    m_processes.push_front({std::string(process), ModuleLife(m_order)});
    return m_processes.front().life;
}

void TraceReader::finish() {
    m_scanner.finish();
    for (auto process = m_processes.rbegin(); process != m_processes.rend(); ++process) {
        process->life.end();
    }
    m_processes.clear();
}

} // namespace volad_dev
