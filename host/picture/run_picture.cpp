#include "host/picture/run_picture.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include <fmt/format.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "contract/shutdown_status.h"
#include "host/common/visible_text.h"
#include "host/picture/columns.h"
#include "host/picture/message_label.h"
#include "host/run/known_run_text.h"

namespace volad_dev {
namespace {

constexpr size_t kLongestText = 200;

std::string shortText(std::string_view text) {
    return cutTo(visibleText(text), kLongestText);
}

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void put(Writer& writer, const char* name, const std::optional<double>& value) {
    writer.Key(name);
    value ? writer.Double(std::round(*value * 1e6) / 1e6) : writer.Null();
}
void put(Writer& writer, const char* name, const std::optional<int>& value) {
    writer.Key(name);
    value ? writer.Int(*value) : writer.Null();
}
void put(Writer& writer, const char* name, const std::string& value) {
    writer.Key(name);
    const std::string valid = utf8Text(value);
    writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

// One object in one line.
std::string jsonOf(const std::function<void(Writer&)>& members) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    members(writer);
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

bool isTimed(const KnownRun& run) {
    const auto starts = [](const KnownPhase& phase) { return soundTime(phase.start).has_value(); };
    const auto at = [](const auto& thing) { return soundTime(thing.at).has_value(); };
    return run.when || std::ranges::any_of(run.phases, starts) || std::ranges::any_of(run.messages, at) ||
           std::ranges::any_of(run.statuses, at) || (run.command && soundTime(run.command->seconds));
}

PictureSpan spanOf(const KnownPhase& phase, size_t index, bool timed) {
    PictureSpan span = {shortText(phase.name), soundTime(phase.start), {}, soundTime(phase.seconds), {}};
    if (!timed) {
        span.begin = static_cast<double>(index);
        span.end = *span.begin + 1;
    } else if (span.begin && span.seconds) {
        span.end = *span.begin + std::max(0.0, *span.seconds);
    }
    span.json = jsonOf([&](Writer& writer) {
        put(writer, "name", phase.name);
        put(writer, "start", phase.start);
        put(writer, "seconds", phase.seconds);
    });
    return span;
}

PictureMark markOf(const KnownMessage& message) {
    const std::string json = jsonOf([&](Writer& writer) {
        put(writer, "at", message.at);
        put(writer, "direction", message.toModule ? "to-module" : "to-host");
        writer.Key("envelope");
        writer.RawValue(message.envelope.data(), message.envelope.size(), rapidjson::kObjectType);
    });
    return {soundTime(message.at), cutTo(messageLabel(message.envelope), kLongestText), json,
            message.toModule};
}

PictureMark markOf(const KnownStatus& status) {
    const bool named = status.value < em::kShutdownStatusNames.size();
    const std::string json = jsonOf([&](Writer& writer) {
        put(writer, "at", status.at);
        put(writer, "value", std::optional<int>(status.value));
    });
    return {
        soundTime(status.at),
        fmt::format("{} {}", status.value, named ? em::kShutdownStatusNames.at(status.value) : "not known"),
        json};
}

// It begins with its phase.
PictureSpan spanOf(const KnownJob& job, const std::vector<PictureSpan>& phases) {
    PictureSpan span = {shortText(job.command), {}, {}, soundTime(job.seconds), {}};
    const auto phase = std::ranges::find(phases, "job", &PictureSpan::name);
    if (phase != phases.end()) {
        span.begin = phase->begin;
        span.end = phase->end;
    }
    if (span.begin && span.seconds) {
        span.end = *span.begin + std::max(0.0, *span.seconds);
    }
    span.json = jsonOf([&](Writer& writer) {
        put(writer, "command", job.command);
        put(writer, "seconds", job.seconds);
        put(writer, "exitCode", job.exitCode);
        put(writer, "signal", job.signal);
    });
    return span;
}

PictureMark markOf(const KnownCommand& command, const RunPicture& picture) {
    std::optional<double> at = soundTime(command.seconds);
    if (!picture.timed && !picture.phases.empty()) {
        at = picture.phases.back().end;
    }
    const std::string json = jsonOf([&](Writer& writer) {
        put(writer, "line", command.line);
        put(writer, "seconds", command.seconds);
    });
    return {at, shortText(command.line), json};
}

void addMessages(const KnownRun& run, size_t most, RunPicture& picture) {
    const size_t count = run.messages.size();
    picture.leftOut = count > most ? count - most : 0;
    picture.leftOutAt = picture.leftOut > 0 ? most * 2 / 3 : 0;
    picture.messages.reserve(count - picture.leftOut);
    for (size_t i = 0; i < count; ++i) {
        if (i < picture.leftOutAt || i >= picture.leftOutAt + picture.leftOut) {
            picture.messages.push_back(markOf(run.messages[i]));
        }
    }
}

void addPhases(const KnownRun& run, size_t most, RunPicture& picture) {
    const size_t count = std::min(run.phases.size(), most);
    picture.phases.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        picture.phases.push_back(spanOf(run.phases[i], i, picture.timed));
    }
}

void addStatuses(const KnownRun& run, size_t most, RunPicture& picture) {
    const size_t count = std::min(run.statuses.size(), most);
    picture.statuses.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        picture.statuses.push_back(markOf(run.statuses[i]));
    }
}

TimeAxis axisOf(const RunPicture& picture) {
    std::vector<double> times;
    const auto add = [&times](const std::optional<double>& time) {
        if (time) {
            times.push_back(*time);
        }
    };
    for (const PictureSpan& phase : picture.phases) {
        add(phase.begin);
        add(phase.end);
    }
    for (const std::vector<PictureMark>* const marks : {&picture.messages, &picture.statuses}) {
        for (const PictureMark& mark : *marks) {
            add(mark.at);
        }
    }
    if (picture.job) {
        add(picture.job->end);
    }
    if (picture.command) {
        add(picture.command->at);
    }
    return TimeAxis(std::move(times));
}

// A phase whose length is not known ends where the next begins; what was on at the end of the trace is on to
// the end of the axis.
void closeSpans(RunPicture& picture) {
    for (size_t i = 0; i < picture.phases.size(); ++i) {
        PictureSpan& phase = picture.phases[i];
        if (phase.begin && !phase.end) {
            phase.end = i + 1 < picture.phases.size() ? picture.phases[i + 1].begin
                                                      : std::optional(picture.axis.end());
        }
    }
    if (picture.job && picture.job->begin && !picture.job->end) {
        picture.job->end = picture.axis.end();
    }
}

void addNotes(const KnownRun& run, RunPicture& picture) {
    if (!picture.timed) {
        picture.notes.emplace_back("no times that can be read in this trace: equal steps, and not to scale");
    }
    if (run.clockSet) {
        picture.notes.emplace_back("the clock was set: that step counts as no time");
    }
    for (const TimeAxis::Break& left : picture.axis.breaks()) {
        picture.notes.push_back(
            fmt::format("a wait of {} is drawn shorter", secondsText(left.to - left.from)));
    }
    const auto more = [&](size_t all, size_t shown, const char* what) {
        if (all > shown) {
            picture.notes.push_back(fmt::format("and {} more {}", all - shown, what));
        }
    };
    more(run.phases.size(), picture.phases.size(), "phases");
    more(run.statuses.size(), picture.statuses.size(), "statuses");
    const auto hidden = [&](unsigned from, const char* what) {
        if (!run.shows(from)) {
            picture.notes.push_back(fmt::format("{} show from trace level {} on; this one's seems to be {}",
                                                what, from, *run.level));
        }
    };
    hidden(known_from::kMessages, "messages");
    hidden(known_from::kStatuses, "statuses");
}

} // namespace

std::vector<double> beginTimes(const RunPicture& picture) {
    std::vector<double> times = {picture.axis.begin()};
    for (const PictureSpan& phase : picture.phases) {
        if (phase.begin) {
            times.push_back(*phase.begin);
        }
    }
    std::ranges::sort(times);
    return times;
}

RunPicture pictureOf(const KnownRun& run, const PictureLimits& limits) {
    RunPicture picture;
    picture.title = shortText(askedWords(run));
    picture.end = shortText(endWords(run));
    picture.timed = isTimed(run);
    addPhases(run, limits.phases, picture);
    addMessages(run, limits.messages, picture);
    addStatuses(run, limits.statuses, picture);
    if (run.job) {
        picture.job = spanOf(*run.job, picture.phases);
        picture.jobEnd = jobEndWords(*run.job);
    }
    if (run.command) {
        picture.command = markOf(*run.command, picture);
    } else {
        picture.noCommand = noCommandWords(run);
    }
    picture.axis = axisOf(picture);
    closeSpans(picture);
    addNotes(run, picture);
    return picture;
}

std::string thousandths(double seconds) {
    return fmt::format("{:.3f}", std::round(seconds * 1e3) / 1e3 + 0.0); // no "-0.000"
}

std::string secondsText(double seconds) {
    return thousandths(seconds) + " s";
}

} // namespace volad_dev
