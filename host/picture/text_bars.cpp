#include "host/picture/text_bars.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "host/picture/columns.h"
#include "host/picture/spread.h"

namespace volad_dev {
namespace {

struct Glyphs {
    std::string_view bar, job, command, broken;
};
constexpr Glyphs kUtf8 = {"\u2588", "\u2592", "\u25B2", "\u2571"};
constexpr Glyphs kAscii = {"#", "=", "^", "/"};

constexpr size_t kNameColumns = 15;   // in front of the bars
constexpr size_t kNumberColumns = 14; // behind them

class Bars {
public:
    Bars(const RunPicture& picture, const TextBarsOptions& options)
        : m_picture(picture),
          m_glyphs(options.utf8 ? kUtf8 : kAscii),
          m_columns(std::clamp(options.columns, kFewestColumns, kMostColumns)),
          m_width(m_columns - kNameColumns - kNumberColumns) {}

    std::string text() {
        addLine(m_picture.title);
        addLine(m_picture.end);
        m_text += '\n';
        addTimes();
        addMessages();
        addModule();
        addJobAndCommand();
        addNotes();
        return m_text;
    }

private:
    using Cells = std::vector<std::string>;

    [[nodiscard]] Cells blank() const { return Cells(m_width, " "); }
    [[nodiscard]] size_t cellAt(double seconds) const {
        return static_cast<size_t>(
            std::lround(m_picture.axis.place(seconds) * static_cast<double>(m_width - 1)));
    }

    void addLine(std::string_view text) { m_text += cutTo(text, m_columns) + '\n'; }

    // The cells between the waits that are broken are the lane's; a mark of its own goes over a break.
    void addRow(std::string_view name, Cells cells, std::string_view number) {
        for (const TimeAxis::Break& broken : m_picture.axis.breaks()) {
            const size_t middle = (cellAt(broken.from) + cellAt(broken.to)) / 2;
            cells.at(middle) = m_glyphs.broken;
            cells.at(middle + 1) = m_glyphs.broken;
        }
        std::string line =
            fmt::format("{:<{}}{}", cutTo(name, kNameColumns - 1), kNameColumns, fmt::join(cells, ""));
        if (!number.empty()) {
            line += fmt::format("{:>{}}", cutTo(number, kNumberColumns), kNumberColumns);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        m_text += line + '\n'; // of known width, and some glyphs count as two columns
    }

    [[nodiscard]] Cells barOf(const PictureSpan& span, std::string_view glyph) const {
        Cells cells = blank();
        if (span.begin && span.end) {
            const size_t begin = cellAt(*span.begin);
            const size_t end = std::max(begin + 1, cellAt(*span.end));
            std::fill(cells.begin() + static_cast<std::ptrdiff_t>(begin),
                      cells.begin() + static_cast<std::ptrdiff_t>(end), glyph);
        }
        return cells;
    }

    // The times at which phases begin and the last one ends, where there is room.
    void addTimes() {
        if (!m_picture.timed) {
            addLine(std::string(kNameColumns, ' ') + "no times: equal steps");
            return;
        }
        const double end = m_picture.axis.end();
        std::string line;
        for (const double time : beginTimes(m_picture)) {
            const size_t column = kNameColumns + cellAt(time);
            const std::string text = secondsText(time);
            if ((line.empty() || column > line.size()) && column + text.size() < kNameColumns + cellAt(end)) {
                line.resize(column, ' ');
                line += text;
            }
        }
        line.resize(kNameColumns + cellAt(end), ' ');
        line += secondsText(end);
        addLine(line);
    }

    void addMessages() {
        if (m_picture.messages.empty()) {
            return;
        }
        addLine("host");
        for (const bool toModule : {true, false}) {
            std::vector<size_t> counts(m_width);
            size_t all = 0;
            for (const PictureMark& message : m_picture.messages) {
                if (message.toModule == toModule) {
                    ++all;
                    counts[message.at ? cellAt(*message.at) : 0] += message.at ? 1 : 0;
                }
            }
            Cells cells = blank();
            for (size_t i = 0; i < m_width; ++i) {
                cells[i] = counts[i] == 0 ? " " : counts[i] > 9 ? "+" : std::to_string(counts[i]);
            }
            addRow(toModule ? "  to module" : "  from module", std::move(cells),
                   fmt::format("{} message{}", all, all == 1 ? "" : "s"));
        }
    }

    void addModule() {
        addLine("module");
        for (const PictureSpan& phase : m_picture.phases) {
            addRow("  " + phase.name, barOf(phase, m_glyphs.bar),
                   phase.seconds ? secondsText(*phase.seconds) : "");
        }
        std::vector<double> places;
        std::string values;
        for (const PictureMark& status : m_picture.statuses) {
            if (status.at) {
                places.push_back(static_cast<double>(cellAt(*status.at)));
                values += status.name.front();
            }
        }
        Cells cells = blank();
        places = spread(std::move(places), 1, static_cast<double>(m_width - 1));
        for (size_t i = 0; i < places.size(); ++i) {
            cells[static_cast<size_t>(places[i])] = values[i];
        }
        if (!values.empty()) {
            addRow("  status", std::move(cells), "");
        }
    }

    void addJobAndCommand() {
        if (m_picture.job) {
            const PictureSpan& job = *m_picture.job;
            addRow("job", barOf(job, m_glyphs.job), job.seconds ? secondsText(*job.seconds) : "");
        }
        if (m_picture.command) {
            Cells cells = blank();
            if (m_picture.command->at) {
                cells[cellAt(*m_picture.command->at)] = m_glyphs.command;
            }
            addRow("command", std::move(cells),
                   m_picture.timed && m_picture.command->at ? secondsText(*m_picture.command->at) : "");
        }
    }

    void addNote(std::string_view name, const std::string& text) {
        addLine(fmt::format("{:<{}}{}", name, kNameColumns, text));
    }

    void addNotes() {
        m_text += '\n';
        std::vector<std::string_view> statuses;
        statuses.reserve(m_picture.statuses.size());
        for (const PictureMark& status : m_picture.statuses) {
            statuses.push_back(status.name);
        }
        if (!statuses.empty()) {
            addNote("status", fmt::format("{}", fmt::join(statuses, ", ")));
        }
        if (m_picture.job) {
            addNote("job", m_picture.jobEnd + ": " + m_picture.job->name);
        }
        addNote("command", m_picture.command ? m_picture.command->name : m_picture.noCommand);
        for (const std::string& note : m_picture.notes) {
            addNote("note", note);
        }
    }

    const RunPicture& m_picture;
    const Glyphs m_glyphs;
    const size_t m_columns;
    const size_t m_width;
    std::string m_text;
};

} // namespace

std::string textBars(const RunPicture& picture, const TextBarsOptions& options) {
    return Bars(picture, options).text();
}

} // namespace volad_dev
