// What is drawn of a run, whatever it is drawn with: texts made visible (but what is JSON), a bounded number
// of each thing, and the axis on which all of it lies.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/picture/time_axis.h"
#include "host/run/known_run.h"

namespace volad_dev {

struct PictureSpan {
    std::string name;                 // of a phase; of the job its command
    std::optional<double> begin, end; // on the axis; without both it cannot be drawn
    std::optional<double> seconds;    // as it is known; not so while it goes on, and without times
    std::string json;                 // what is known of it, in one line
};

// Of a message, a status or the command: at is where it lies on the axis, if that is known.
struct PictureMark {
    std::optional<double> at;
    std::string name, json;
    bool toModule = false; // of a message
};

// How many of each are taken, of more messages the first and the last.
struct PictureLimits {
    size_t messages = 60, phases = 16, statuses = 16;
};

struct RunPicture {
    std::string title, end;
    bool timed = true; // else each phase is as long as another, and only they are on the axis
    TimeAxis axis{{}};
    std::vector<PictureSpan> phases;
    std::vector<PictureMark> messages;
    size_t leftOut = 0;                // messages
    size_t leftOutAt = 0;              // in front of this one
    std::vector<PictureMark> statuses; // the name begins with the value
    std::optional<PictureSpan> job;
    std::string jobEnd;
    std::optional<PictureMark> command;
    std::string noCommand;          // in words, where there is none
    std::vector<std::string> notes; // what the picture does not show, or not as it is
};

// Where the axis and each phase that has a time begin, in order.
[[nodiscard]] std::vector<double> beginTimes(const RunPicture& picture);

[[nodiscard]] RunPicture pictureOf(const KnownRun& run, const PictureLimits& limits = {});

// "3.000", and with the unit "3.000 s": a millisecond counts.
[[nodiscard]] std::string thousandths(double seconds);
[[nodiscard]] std::string secondsText(double seconds);

} // namespace volad_dev
