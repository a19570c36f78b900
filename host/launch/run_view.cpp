#include "host/launch/run_view.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <fmt/format.h>

#include "contract/reasons.h"
#include "contract/settings.h"
#include "host/common/standard_streams.h"
#include "host/common/visible_text.h"
#include "host/hosting/journal.h"
#include "host/run/run_text.h"

namespace volad_dev {
namespace {

constexpr size_t kOutputLines = 4; // of the job, so that all fits one screen

std::string phaseLine(const Phase& phase, const ShutdownRun& run) {
    std::string more;
    if (phase.name == "job" && run.job) {
        more = "   " + visibleText(run.job->command);
    } else if (phase.name == "command" && run.command) {
        more = "   " + visibleText(run.command->line);
    }
    return fmt::format("  {:<14}{:>7.2f} s{}", phase.name, phase.seconds, more);
}

} // namespace

bool standardOutputIsLive() {
    // NOLINTBEGIN(concurrency-mt-unsafe): the launcher has one thread
    const char* const plain = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    // NOLINTEND(concurrency-mt-unsafe)
    return isatty(STDOUT_FILENO) == 1 && (plain == nullptr || *plain == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

RunView::RunView(Options options, const Settings& settings)
    : m_options(options),
      m_delay(options.jobOnly ? 0 : settings.shutdownDelay.value_or(*em::setting::kShutdownDelay.fallback)),
      m_jobLimit(settings.jobTimeout.value_or(*em::setting::kJobTimeout.fallback)),
      m_jobNamed(!settings.jobName.value_or("").empty()) {}

void RunView::print(const std::string& text) {
    if (m_options.silent) {
        return;
    }
    clearLive();
    printAtOnce(text);
}

void RunView::printLive(const std::string& line) {
    clearLive();
    // One that wraps cannot be taken back.
    printAtOnce(std::string_view(line).substr(0, lengthInColumns(line, standardOutputColumns() - 1)));
    m_liveShown = true;
}

void RunView::clearLive() {
    if (m_liveShown) {
        printAtOnce("\r\033[K");
        m_liveShown = false;
    }
}

void RunView::trace(const std::string& line) {
    print(line + '\n');
}

void RunView::printBegun(const ShutdownRun& run) {
    if (!m_begun && !m_options.jobOnly) {
        print(fmt::format("Rehearsing {}\n", askedText(run.asked)));
    }
    m_begun = true;
}

void RunView::printEnded(const ShutdownRun& run, size_t count) {
    for (; m_phasesShown < std::min(count, run.phases.size()); ++m_phasesShown) {
        if (!m_options.jobOnly) {
            print(phaseLine(run.phases[m_phasesShown], run) + '\n');
        }
    }
}

void RunView::progress(const ShutdownRun& run) {
    m_run = run;
    m_at = monotonicNow();
    printBegun(run);
    printEnded(run, run.phases.empty() ? 0 : run.phases.size() - 1);
    tick();
}

// since: seconds since the last progress.
std::string RunView::current(double since) const {
    if (m_run->phases.empty()) {
        return m_run->asked.by == "schedule" ? "  waiting for the scheduled minute" : "";
    }
    const Phase& phase = m_run->phases.back();
    const double elapsed = phase.seconds + since;
    if (phase.name == "delay" && m_run->asked.reason != em::kReasonPowerSwitch) {
        return fmt::format("  {:<14}{:>5.0f} s left of {:.0f} s", phase.name,
                           std::max(0.0, m_delay - elapsed), m_delay);
    }
    if (phase.name == "job" && m_run->job) {
        return fmt::format("  {:<14}{:>5.0f} s of at most {:.0f} s   {}", phase.name, elapsed, m_jobLimit,
                           visibleText(m_run->job->command));
    }
    // Between its settings and its start the job is not there yet.
    const bool beforeJob = phase.name == "command" && m_jobNamed && !m_run->job;
    return m_options.jobOnly || beforeJob ? "" : fmt::format("  {:<14}{:>5.0f} s", phase.name, elapsed);
}

void RunView::tick() {
    if (m_options.live && !m_options.silent && m_run) {
        printLive(current(monotonicNow() - m_at));
    }
}

void RunView::waitingFor(const std::string& what) {
    if (m_options.live && !m_options.silent) {
        printLive("  " + what);
    }
}

bool RunView::isJobOn() const {
    return m_run && !m_run->phases.empty() && m_run->phases.back().name == "job";
}

double RunView::jobLeft() const {
    return isJobOn() ? std::max(0.0, m_jobLimit - m_run->phases.back().seconds - (monotonicNow() - m_at)) : 0;
}

// On standard error: it is no part of what was asked for.
void RunView::interrupted() {
    const std::string waiting = isJobOn()
                                    ? fmt::format("waiting for the job, at most {:.0f} s more", jobLeft())
                                    : "stopping the module";
    clearLive();
    static_cast<void>(std::fputs(
        fmt::format("volad-dev: interrupted, {}; once more ends all of it at once\n", waiting).c_str(),
        stderr));
}

void RunView::conclude(const ShutdownRun& run, const OutputTail& output) {
    printBegun(run);
    printEnded(run, run.phases.size());
    const RunTextBounds bounds{kOutputLines, isatty(STDOUT_FILENO) == 1 ? standardOutputColumns() : 0};
    print(m_options.jobOnly ? jobText(run, bounds, output.linesBefore())
                            : '\n' + verdictText(run, bounds, output.linesBefore()));
}

} // namespace volad_dev
