// What is told of a run, whatever the run holds: a story within its dozen of lines, bars within their
// columns, a picture that is XML, JSON that is JSON; and nothing of it makes a terminal do anything.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>
#include <rapidjson/document.h>

#include "base/utf8.h"
#include "host/common/failure.h"
#include "host/common/visible_text.h"
#include "host/picture/run_picture.h"
#include "host/picture/svg_picture.h"
#include "host/picture/text_bars.h"
#include "host/picture/trace_events.h"
#include "host/run/known_run_json.h"
#include "host/story/story.h"
#include "input.h"

namespace fuzz {

// Iterative: how deep JSON may be is a property of its reader.
inline bool isJson(const std::string& text) {
    return !rapidjson::Document()
                .Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(text.c_str())
                .HasParseError();
}

// Whole lines of visible text; how many.
inline size_t requireLines(std::string_view text, size_t columns) {
    size_t count = 0;
    for (; !text.empty(); ++count) {
        const size_t end = text.find('\n');
        require(end != std::string_view::npos);
        const std::string line(text.substr(0, end));
        const auto characters =
            std::count_if(line.begin(), line.end(), [](char c) { return (c & 0xC0) != 0x80; });
        require(volad_dev::visibleText(line) == line && static_cast<size_t>(characters) <= columns);
        text.remove_prefix(end + 1);
    }
    return count;
}

inline void requireTellable(const volad_dev::KnownRun& run) {
    require(requireLines(volad_dev::storyOf(run), std::string::npos) <= volad_dev::kLongestStory);
    const volad_dev::RunPicture picture = volad_dev::pictureOf(run);
    const volad_dev::PictureLimits limits;
    require(picture.messages.size() <= limits.messages && picture.phases.size() <= limits.phases &&
            picture.statuses.size() <= limits.statuses);
    for (const size_t columns : {volad_dev::kFewestColumns, size_t{79}, volad_dev::kMostColumns}) {
        requireLines(volad_dev::textBars(picture, {columns, columns != 79}), columns);
    }
    const std::string svg = volad_dev::svgPicture(picture);
    require(em::validUtf8Length(svg) == svg.size());
    require(pugi::xml_document().load_buffer(svg.data(), svg.size()));
    try {
        require(isJson(volad_dev::traceEventsJson(run)));
    } catch (const volad_dev::Failure&) { // nothing of it has a time
    }
}

} // namespace fuzz
