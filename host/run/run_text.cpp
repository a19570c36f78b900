#include "host/run/run_text.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <fmt/format.h>

#include "host/common/visible_text.h"

namespace volad_dev {
namespace {

constexpr size_t kMostFilesShown = 4;
constexpr int kShellSignalBase = 128; // a shell tells a signal of its command by an exit code above

struct Word {
    std::string_view code, text;
};

constexpr std::array<Word, 3> kAssumed = {
    {{"on", "assumed open"}, {"off", "assumed shut"}, {"missing", "assumed without its tool"}}};
constexpr std::array<Word, 4> kHere = {{{"missing", "no localcli in the PATH"},
                                        {"enabled", "enabled"},
                                        {"disabled", "disabled"},
                                        {"not-asked", "not asked (--maintenance here asks)"}}};

template <size_t Count>
std::string_view wordOf(const std::array<Word, Count>& words, std::string_view code) {
    for (const Word& word : words) {
        if (word.code == code) {
            return word.text;
        }
    }
    return "not known";
}

std::string row(std::string_view name, std::string_view text) {
    return fmt::format("  {:<11}{}\n", name, text);
}

std::string signalText(int number) {
    const char* const name = sigabbrev_np(number);
    return name != nullptr ? fmt::format("signal {} (SIG{})", number, name)
                           : fmt::format("signal {}", number);
}

std::string endOfJob(const JobRun& job) {
    if (job.signal) {
        return fmt::format("ended by {} after {:.2f} s", signalText(*job.signal), job.seconds);
    }
    if (job.timedOut) {
        return fmt::format("still running at its limit of {:.2f} s, and left alone", job.seconds);
    }
    if (!job.exitCode) {
        return job.seconds > 0 ? fmt::format("running when it was last seen, after {:.2f} s", job.seconds)
                               : "not waited for";
    }
    if (job.started == false) {
        return fmt::format("{} (exit code {}) after {:.2f} s",
                           *job.exitCode == 127 ? "not found" : "not executable", *job.exitCode, job.seconds);
    }
    const std::string inShell =
        *job.exitCode > kShellSignalBase && sigabbrev_np(*job.exitCode - kShellSignalBase) != nullptr
            ? fmt::format(", the shell's for {}", signalText(*job.exitCode - kShellSignalBase))
            : "";
    return fmt::format("exit code {}{} after {:.2f} s", *job.exitCode, inShell, job.seconds);
}

// A row of somebody else's text, cut where it would wrap.
std::string cutRow(const std::string& row, size_t columns) {
    constexpr std::string_view kCut = "...";
    const std::string_view line = std::string_view(row).substr(0, row.size() - 1); // without its end
    if (columns <= kCut.size() || lengthInColumns(line, columns) == line.size()) {
        return row;
    }
    return fmt::format("{}{}\n", line.substr(0, lengthInColumns(line, columns - kCut.size())), kCut);
}

std::string printedText(const std::vector<std::string>& output, const RunTextBounds& bounds, size_t dropped) {
    const size_t all = output.size() + dropped;
    const size_t shown = std::min(output.size(), bounds.outputLines);
    if (all == 0) {
        return row("printed", "nothing");
    }
    std::string text = row("printed", shown == all ? fmt::format("{} line{}", all, all == 1 ? "" : "s")
                                                   : fmt::format("{} lines, of which the last", all));
    for (size_t i = output.size() - shown; i < output.size(); ++i) {
        text += cutRow(fmt::format("    | {}\n", visibleText(output[i])), bounds.columns);
    }
    return text;
}

std::string leftText(const std::vector<LeftFile>& files) {
    std::string text;
    for (size_t i = 0; i < std::min(files.size(), kMostFilesShown); ++i) {
        text += fmt::format("{}{} ({} bytes)", text.empty() ? "" : ", ", visibleText(files[i].file),
                            files[i].bytes);
    }
    if (files.size() > kMostFilesShown) {
        text += fmt::format(" and {} more", files.size() - kMostFilesShown);
    }
    return text.empty() ? "nothing" : text;
}

std::string warningsText(const ShutdownRun& run) {
    std::string text;
    for (const Warning& warning : run.warnings) {
        text += row("warning", visibleText(warning.text));
    }
    return text;
}

std::string jobRows(const ShutdownRun& run, const RunTextBounds& bounds, size_t droppedLines) {
    if (!run.job) {
        return row("job", "none");
    }
    const std::string where =
        run.job->directory.empty() ? "" : fmt::format(", in \"{}\"", visibleText(run.job->directory));
    return cutRow(row("job", visibleText(run.job->command)), bounds.columns) +
           row("", endOfJob(*run.job) + where) + printedText(run.job->output, bounds, droppedLines) +
           cutRow(row("left", leftText(run.left)), bounds.columns);
}

} // namespace

std::string askedText(const Asked& asked) {
    return visibleText(fmt::format("{} by {}, reason {}: {}", asked.operation,
                                   asked.by == "power-switch" ? "power switch" : asked.by, asked.reason,
                                   asked.reasonText));
}

std::string verdictText(const ShutdownRun& run, const RunTextBounds& bounds, size_t droppedLines) {
    std::string text = fmt::format("Verdict: {}{}\n", nameOf(run.end).text,
                                   run.asAsked ? ", as asked" : ", which is not what was asked");
    text += row("asked", askedText(run.asked));
    text += row("gate", fmt::format("{}; here: {}", wordOf(kAssumed, run.gate.assumed),
                                    wordOf(kHere, run.gate.here)));
    text += jobRows(run, bounds, droppedLines);
    text += row("command", run.command ? fmt::format("{}, {:.2f} s after the request, in \"{}\"",
                                                     visibleText(run.command->line), run.command->seconds,
                                                     visibleText(run.command->directory))
                                       : "none");
    return text + warningsText(run);
}

std::string jobText(const ShutdownRun& run, const RunTextBounds& bounds, size_t droppedLines) {
    return jobRows(run, bounds, droppedLines) + warningsText(run);
}

} // namespace volad_dev
