// stories.trace has a trace for each row of "The shutdown did not happen" in docs/operations.md.
#include "host/story/story.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>

#include "host/run/trace_reader.h"

namespace volad_dev {
namespace {

std::string storyOfLast(const std::string& trace) {
    std::string story;
    TraceReader reader([&](KnownRun&& run) { story = storyOf(run); });
    reader.take(trace);
    reader.finish();
    return story;
}

struct Told {
    std::string cause, text, trace;
};

std::vector<Told> stories() {
    std::vector<Told> stories;
    std::ifstream file(EM_STORIES);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("= ")) {
            const size_t colon = line.find(": ");
            stories.push_back({line.substr(2, colon - 2), line.substr(colon + 2), ""});
        } else if (!stories.empty()) {
            stories.back().trace += line + '\n';
        }
    }
    return stories;
}

// What the page's table says in its last column, row by row.
std::vector<std::string> adviceOfPage() {
    std::vector<std::string> advice;
    std::ifstream page(EM_OPERATIONS_PAGE);
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("## ")) {
            inside = line == "## The shutdown did not happen";
        } else if (inside && line.starts_with("| ") && !line.starts_with("| last line")) {
            const size_t cell = line.rfind(" | ") + 3;
            advice.push_back(line.substr(cell, line.size() - 2 - cell));
            std::erase(advice.back(), '`');
        }
    }
    return advice;
}

TEST(Story, HasTheAdviceOfEachRowOfThePage) {
    std::set<std::string_view> shown;
    for (const Told& told : stories()) {
        const RunCauseRow* const row = std::ranges::find(kRunCauses, told.cause, &RunCauseRow::code);
        ASSERT_NE(row, kRunCauses.end()) << told.cause;
        const std::string story = storyOfLast(told.trace);
        EXPECT_NE(story.find(told.text + '\n'), std::string::npos) << told.text << '\n' << story;
        EXPECT_NE(story.find(row->advice), std::string::npos) << told.text << '\n' << story;
        shown.insert(row->advice);
    }
    const std::vector<std::string> page = adviceOfPage();
    ASSERT_EQ(page.size(), kRunCauses.size() - 1);
    for (size_t row = 0; row < page.size(); ++row) {
        EXPECT_EQ(page[row], kRunCauses[row].advice);
        EXPECT_TRUE(shown.contains(page[row])) << page[row];
    }
}

TEST(Story, TellsWhatIsNotKnownAndWhichLevelWouldTell) {
    const std::vector<Told> all = stories();
    EXPECT_EQ(
        storyOfLast(std::ranges::find(all, "command-started", &Told::cause)->trace),
        "asked    off, reason: x\n"
        "end      the command was started\n"
        "do       if the system did not go down, see the command's own messages on the host's standard "
        "error, the service manager's journal, and systemd-inhibit --list\n"
        "took     not known: the lines have no times that can be read\n"
        "job      none\n"
        "command  /sbin/poweroff\n"
        "level    1, as it seems\n"
        "unknown  who asked (level 2 would tell); the reason's number, the delay (level 3 would tell)\n");
    const std::string refused = storyOfLast(std::ranges::find(all, "the queue was full", &Told::text)->trace);
    EXPECT_EQ(refused.find("unknown "), std::string::npos) << refused;
}

} // namespace
} // namespace volad_dev
