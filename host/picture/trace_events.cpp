#include "host/picture/trace_events.h"

#include <array>
#include <cmath>
#include <functional>
#include <optional>

#include "host/common/failure.h"
#include "host/common/json_writer.h"
#include "host/picture/run_picture.h"

namespace volad_dev {
namespace {

enum class Lane { Host = 1, Module, Job, Command };
constexpr std::array kLaneNames = {"host", "module", "job", "command"};

class TraceEvents {
public:
    explicit TraceEvents(const RunPicture& picture) : m_begin(picture.axis.begin()) {
        m_writer.beginObject();
        m_writer.member("displayTimeUnit", "ms");
        m_writer.beginArray("traceEvents");
        name("process_name", Lane::Host, picture.title);
        for (size_t i = 0; i < kLaneNames.size(); ++i) {
            name("thread_name", static_cast<Lane>(i + 1), kLaneNames.at(i));
        }
        for (const PictureSpan& phase : picture.phases) {
            span("phase", Lane::Module, phase);
        }
        if (picture.job) {
            span("job", Lane::Job, *picture.job);
        }
        for (const PictureMark& message : picture.messages) {
            mark("message", message.toModule ? Lane::Host : Lane::Module, message);
        }
        for (const PictureMark& status : picture.statuses) {
            mark("status", Lane::Module, status);
        }
        if (picture.command) {
            mark("command", Lane::Command, *picture.command);
        }
        m_writer.endArray();
        m_writer.endObject();
    }

    [[nodiscard]] std::string document() const { return m_writer.document(); }

private:
    // Microseconds behind the first: viewers take no negative ones.
    [[nodiscard]] double stamp(double seconds) const { return std::round((seconds - m_begin) * 1e6); }

    void event(const char* phase, const std::string& name, Lane lane, const std::function<void()>& members) {
        m_writer.beginObject();
        m_writer.member("ph", phase);
        m_writer.member("name", name);
        m_writer.member("pid", 1);
        m_writer.member("tid", static_cast<int>(lane));
        members();
        m_writer.endObject();
    }

    void name(const char* what, Lane lane, const std::string& text) {
        event("M", what, lane, [&] {
            m_writer.beginObject("args");
            m_writer.member("name", text);
            m_writer.endObject();
        });
    }

    void span(const char* category, Lane lane, const PictureSpan& span) {
        if (!span.begin || !span.end) {
            return;
        }
        event("X", span.name, lane, [&] {
            m_writer.member("cat", category);
            m_writer.member("ts", stamp(*span.begin));
            m_writer.member("dur", stamp(*span.end) - stamp(*span.begin));
            m_writer.json("args", span.json);
        });
    }

    // As far as the lane's thread: "s" is its scope.
    void mark(const char* category, Lane lane, const PictureMark& mark) {
        if (!mark.at) {
            return;
        }
        event("i", mark.name, lane, [&] {
            m_writer.member("cat", category);
            m_writer.member("ts", stamp(*mark.at));
            m_writer.member("s", "t");
            m_writer.json("args", mark.json);
        });
    }

    const double m_begin;
    JsonWriter m_writer;
};

} // namespace

std::string traceEventsJson(const KnownRun& run) {
    const RunPicture picture = pictureOf(run, {run.messages.size(), run.phases.size(), run.statuses.size()});
    if (!picture.timed) {
        throw Failure("--trace-events: the trace has no times, and a trace viewer shows nothing without");
    }
    return TraceEvents(picture).document();
}

} // namespace volad_dev
