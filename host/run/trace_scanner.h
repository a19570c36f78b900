// Finds the module's lines among the bytes of a host's trace: behind any prefix, between lines of others,
// with ends of any kind. Most of the bytes are only searched for what the module's lines have in common.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "host/run/line_ends.h"
#include "host/run/trace_line.h"

namespace volad_dev {

class TraceScanner {
public:
    // What is behind so much of a line is not looked at, nor is a line of the module's behind so much of a
    // prefix.
    static constexpr size_t kLongestLine = 16'384;
    static constexpr size_t kLongestPrefix = 256;

    // The sink is called for each line of the module that tells something; what it is given lives as long as
    // the call.
    explicit TraceScanner(std::function<void(const TraceLine&)> sink) : m_sink(std::move(sink)) {}

    // The next bytes of the trace, cut anywhere.
    void take(std::string_view bytes);
    // No more will come.
    void finish();

private:
    std::string_view completeLine(std::string_view bytes);
    void scan(std::string_view text);
    [[nodiscard]] size_t readTagged(const LineEnds& lines, size_t colon);
    [[nodiscard]] size_t readLine(const LineEnds& lines, size_t begin, bool tagged);
    [[nodiscard]] bool isStructure(std::string_view text, size_t start, size_t begin) const;

    std::function<void(const TraceLine&)> m_sink;
    std::string m_rest;      // the start of a line
    bool m_skipping = false; // behind kLongestLine of a line
    // Behind the line of a message whose data is a structure, in what is being scanned: the data's line is
    // next.
    std::optional<size_t> m_structureFrom;
};

} // namespace volad_dev
