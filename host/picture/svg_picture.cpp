#include "host/picture/svg_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "host/common/visible_text.h"
#include "host/picture/columns.h"
#include "host/picture/spread.h"
#include "host/picture/svg_layout.h"
#include "host/picture/svg_writer.h"

namespace volad_dev {
namespace {

using namespace svg_layout;

std::string hoverText(const std::string& json) {
    return cutTo(visibleText(json), kLongestHover);
}

// As exact as there is room for.
std::string shortTime(double seconds) {
    const double size = std::abs(seconds);
    return size < 100 ? thousandths(seconds) : fmt::format("{:.{}f}", seconds, size < 10'000 ? 1 : 0);
}

class Drawing {
public:
    explicit Drawing(const RunPicture& picture) : m_picture(picture), m_height(heightOf(picture)) {}

    std::string document() {
        const std::vector<std::string> below = linesBelow();
        const double bottom = kTop + m_height + 2 * kLabelRow + kMargin;
        const double all = bottom + kLine * static_cast<double>(below.size()) + kMargin / 2;
        m_svg.begin("svg", {{"xmlns", "http://www.w3.org/2000/svg"},
                            {"viewBox", fmt::format("0 0 {} {}", kWidth, all)},
                            {"width", kWidth},
                            {"height", all},
                            {"role", "img"},
                            {"aria-labelledby", "title desc"}});
        m_svg.element("title", {{"id", "title"}}, m_picture.title);
        m_svg.element("desc", {{"id", "desc"}}, described());
        m_svg.raw(kStyle);
        m_svg.element("rect", {{"class", "ground"},
                               {"x", 0.5},
                               {"y", 0.5},
                               {"width", kWidth - 1},
                               {"height", all - 1},
                               {"rx", 6.0}});
        drawHead();
        drawAxis();
        drawStatuses();
        drawPhaseBars();
        drawPhaseLabels();
        drawMessages();
        drawJob();
        drawCommand();
        drawBreaks();
        for (size_t i = 0; i < below.size(); ++i) {
            text(kMargin, bottom + kLine * static_cast<double>(i), "dim", below[i], kLineColumns);
        }
        m_svg.end();
        return m_svg.document();
    }

private:
    static double heightOf(const RunPicture& picture) {
        const size_t rows = picture.messages.size() + (picture.leftOut > 0 ? 1 : 0);
        return std::max(kLeastHeight, kMessageRow * static_cast<double>(rows));
    }

    [[nodiscard]] double y(double seconds) const { return kTop + m_height * m_picture.axis.place(seconds); }

    void text(double x, double y, const char* style, std::string_view text, size_t columns) {
        m_svg.element("text", {{"class", style}, {"x", x}, {"y", y}}, cutTo(text, columns));
    }
    void line(const char* style, double x1, double y1, double x2, double y2) {
        m_svg.element("line", {{"class", style}, {"x1", x1}, {"y1", y1}, {"x2", x2}, {"y2", y2}});
    }
    void beginHover(const std::string& json) {
        m_svg.begin("g");
        m_svg.element("title", {}, hoverText(json));
    }

    [[nodiscard]] std::string described() const {
        std::string text = m_picture.end + '.';
        for (const PictureSpan& phase : m_picture.phases) {
            text += fmt::format(" {}{}.", phase.name, phase.seconds ? ' ' + secondsText(*phase.seconds) : "");
        }
        return text;
    }

    [[nodiscard]] std::vector<std::string> linesBelow() const {
        std::vector<std::string> lines;
        std::string statuses;
        for (const PictureMark& status : m_picture.statuses) {
            statuses += (statuses.empty() ? "status " : ", ") + status.name;
        }
        if (!statuses.empty()) {
            lines.push_back(statuses);
        }
        if (m_picture.job) {
            lines.push_back(fmt::format("job {}: {}", m_picture.jobEnd, m_picture.job->name));
        }
        lines.insert(lines.end(), m_picture.notes.begin(), m_picture.notes.end());
        return lines;
    }

    void drawHead() {
        const auto titleColumns = static_cast<size_t>((kWidth - 2 * kMargin) / (kColumn * 13 / 11));
        text(kMargin, 28, "title", m_picture.title, titleColumns);
        text(kMargin, 48, "", m_picture.end, kLineColumns);
        constexpr double kNames = 76;
        text(kTicks, kNames, "dim right", m_picture.timed ? "seconds" : "no times", kTickColumns);
        text(kStatus, kNames, "dim middle", "status", 6);
        text(kModule + kModuleWidth / 2, kNames, "dim middle", "module", 6);
        text(kHost, kNames, "dim middle", "host", 4);
        text(kJob, kNames, "dim middle", "job", 3);
        text(kCommand, kNames, "dim middle", "command", 7);
        for (const double lane : {kHost, kJob, kCommand}) {
            line("leader", lane, kNames + 8, lane, kTop + m_height + 6);
        }
    }

    // A label where a phase begins and at the end, as far as they do not overlap.
    void drawAxis() {
        line("line", kAxis, kTop, kAxis, kTop + m_height);
        if (!m_picture.timed) {
            return;
        }
        const double end = m_picture.axis.end();
        double free = 0;
        for (const double time : beginTimes(m_picture)) {
            if (y(time) >= free && y(time) + kLabelRow <= y(end)) {
                drawTick(time);
                free = y(time) + kLabelRow;
            }
        }
        drawTick(end);
    }
    void drawTick(double time) {
        line("line", kAxis - 3, y(time), kAxis + 3, y(time));
        text(kTicks, y(time) + 4, "dim right", shortTime(time), kTickColumns);
    }

    [[nodiscard]] std::vector<double> spreadMarks(const std::vector<PictureMark>& marks, double gap) const {
        std::vector<double> places;
        places.reserve(marks.size());
        for (const PictureMark& mark : marks) {
            places.push_back(mark.at ? y(*mark.at) - kTop : places.empty() ? 0 : places.back());
        }
        std::sort(places.begin(), places.end());
        return spread(std::move(places), gap, m_height);
    }

    void drawStatuses() {
        const std::vector<double> places = spreadMarks(m_picture.statuses, kStatusRow);
        for (size_t i = 0; i < places.size(); ++i) {
            const PictureMark& status = m_picture.statuses[i];
            const double middle = kTop + places[i];
            beginHover(status.json);
            if (status.at) {
                line("leader", kAxis, y(*status.at), kStatus - 8, middle);
            }
            m_svg.element("circle", {{"class", "mark"}, {"cx", kStatus}, {"cy", middle}, {"r", 7.5}});
            text(kStatus, middle + 4, "middle", status.name.substr(0, status.name.find(' ')), 3);
            m_svg.end();
        }
    }

    void drawBar(const char* style, double x, double width, const PictureSpan& span) {
        m_svg.element("rect", {{"class", style},
                               {"x", x},
                               {"y", y(*span.begin)},
                               {"width", width},
                               {"height", std::max(kLeastBar, y(*span.end) - y(*span.begin))}});
    }

    // The short ones last, or their neighbours would cover them.
    void drawPhaseBars() {
        constexpr std::array kStyles = {"first", "second", "third"};
        for (const bool shortOnes : {false, true}) {
            for (size_t i = 0; i < m_picture.phases.size(); ++i) {
                const PictureSpan& phase = m_picture.phases[i];
                if (phase.begin && phase.end &&
                    (y(*phase.end) - y(*phase.begin) < 2 * kLeastBar) == shortOnes) {
                    beginHover(phase.json);
                    drawBar(kStyles.at(i % kStyles.size()), kModule, kModuleWidth, phase);
                    m_svg.end();
                }
            }
        }
    }

    void drawPhaseLabels() {
        std::vector<double> places;
        places.reserve(m_picture.phases.size());
        for (const PictureSpan& phase : m_picture.phases) {
            const bool drawn = phase.begin && phase.end;
            places.push_back(drawn            ? (y(*phase.begin) + y(*phase.end)) / 2 - kTop
                             : places.empty() ? 0
                                              : places.back());
        }
        std::sort(places.begin(), places.end());
        places = spread(std::move(places), kLabelRow, m_height);
        for (size_t i = 0; i < places.size(); ++i) {
            const PictureSpan& phase = m_picture.phases[i];
            const double middle = kTop + places[i];
            const std::string seconds = phase.seconds ? secondsText(*phase.seconds) : "";
            beginHover(phase.json);
            if (phase.begin && phase.end) {
                line("leader", kPhaseLabels + 2, middle, kModule, (y(*phase.begin) + y(*phase.end)) / 2);
            }
            std::string label = cutTo(phase.name, kPhaseColumns - 1 - seconds.size());
            label.append(seconds.empty() ? 0 : 1, ' ').append(seconds);
            text(kPhaseLabels, middle + 4, "right", label, kPhaseColumns);
            m_svg.end();
        }
    }

    void drawMessages() {
        std::vector<PictureMark> rows = m_picture.messages;
        if (m_picture.leftOut > 0) {
            PictureMark gap;
            gap.name = fmt::format("... and {} more messages ...", m_picture.leftOut);
            rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(m_picture.leftOutAt), gap);
        }
        const std::vector<double> places = spreadMarks(rows, kMessageRow);
        for (size_t i = 0; i < rows.size(); ++i) {
            const double middle = kTop + places[i];
            if (rows[i].json.empty()) {
                text(kArrowFrom + 6, middle - 4, "dim", rows[i].name, kMessageColumns);
                continue;
            }
            drawMessage(rows[i], middle);
        }
    }
    void drawMessage(const PictureMark& message, double middle) {
        beginHover(message.json);
        if (message.at) {
            line("leader", kModuleRight, y(*message.at), kArrowFrom, middle);
        }
        const char* const style = message.toModule ? "to-module" : "to-host";
        const double head = message.toModule ? kArrowFrom : kHost;
        const double back = message.toModule ? 7 : -7;
        line(style, kArrowFrom, middle, kHost, middle);
        m_svg.element("path",
                      {{"class", style},
                       {"d", fmt::format("M{0} {1}l{2} -3v6z", head, fmt::format("{:.1f}", middle), back)}});
        text(kArrowFrom + 9, middle - 4, "", message.name, kMessageColumns);
        m_svg.end();
    }

    void drawJob() {
        if (!m_picture.job || !m_picture.job->begin || !m_picture.job->end) {
            return;
        }
        const PictureSpan& job = *m_picture.job;
        beginHover(job.json);
        drawBar("job", kJob - kBarWidth / 2, kBarWidth, job);
        if (job.seconds) {
            text(kJob, y(*job.end) + kLabelRow, "middle", secondsText(*job.seconds), kJobColumns);
        }
        m_svg.end();
    }

    void drawCommand() {
        if (!m_picture.command || !m_picture.command->at) {
            return;
        }
        const double middle = y(*m_picture.command->at);
        beginHover(m_picture.command->json);
        m_svg.element("path", {{"class", "command"},
                               {"d", fmt::format("M{} {:.1f}l6 6l-6 6l-6 -6z", kCommand, middle - 6)}});
        text(kCommand, middle + 6 + kLabelRow, "middle", m_picture.command->name, kCommandColumns);
        m_svg.end();
    }

    // Across whatever passes them.
    void drawBreaks() {
        for (const TimeAxis::Break& broken : m_picture.axis.breaks()) {
            const double middle = (y(broken.from) + y(broken.to)) / 2;
            const auto isOn = [&](const PictureSpan& span) {
                return span.begin && span.end && broken.to > *span.begin && *span.end > broken.from;
            };
            zigzag(kAxis, 8, middle);
            text(kTicks, middle - 3, "dim right", "wait of", kTickColumns);
            text(kTicks, middle + 11, "dim right", shortTime(broken.to - broken.from), kTickColumns);
            if (std::ranges::any_of(m_picture.phases, isOn)) {
                zigzag(kModule + kModuleWidth / 2, kModuleWidth + 4, middle);
            }
            if (m_picture.job && isOn(*m_picture.job)) {
                zigzag(kJob, kBarWidth + 4, middle);
            }
        }
    }
    void zigzag(double x, double width, double middle) {
        const auto path = [&](double dy) {
            return fmt::format("M{0:.1f} {1:.1f}l{2} -4l{2} 8l{2} -8l{2} 8", x - width / 2, middle + dy,
                               width / 4);
        };
        m_svg.element("path", {{"class", "gap"}, {"d", path(0)}});
        m_svg.element("path", {{"class", "line"}, {"d", path(-3)}});
        m_svg.element("path", {{"class", "line"}, {"d", path(3)}});
    }

    const RunPicture& m_picture;
    const double m_height;
    SvgWriter m_svg;
};

} // namespace

std::string svgPicture(const RunPicture& picture) {
    return Drawing(picture).document();
}

} // namespace volad_dev
