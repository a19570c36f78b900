// The comparer itself: one that lets a difference pass makes every golden file worthless.
#include "module/golden_trace.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace module_test {
namespace {

TEST(GoldenTrace, MatchesPlaceholdersAndNothingElse) {
    struct Case {
        const char* pattern;
        const char* text;
        bool same;
    };
    const Case cases[] = {
        {"plain ", "plain", false},
        {"plain", "plain ", false},
        {"0x{x}!", "0x00AbF9!", true},
        {"0x{x}!", "0x!", false},
        {"0x{x}!", "0x12g!", false},
        {"({d})", "(-12)", true},
        {"({d})", "(x)", false},
        {"a{*}z", "az", true},
        {"a{*}z", "abzz", true},
        {"a{*}z", "abzy", false},
        {"", "x", false},
        {"{\"V\":1}", "{\"V\":1}", true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(matches(c.pattern, c.text), c.same) << c.pattern << " and " << c.text;
    }
}

class GoldenTraceTest : public testing::Test {
protected:
    GoldenTraceTest() {
        std::ofstream("/tmp/scenario.golden") << "# comment\n[host]\n1 \\nfirst\n@part.golden\n";
        std::ofstream("/tmp/part.golden")
            << "[host]\n> 0 {}\n?4 maybe\n4 fine\nP always\n[commands]\nP /sbin/halt\n";
    }
    static std::string compare(const std::vector<Record>& records, unsigned level,
                               const std::vector<std::string>& commands = {"/sbin/halt"}) {
        return differences(loadGolden("/tmp", "scenario.golden"), records, commands, level);
    }

    const pid_t m_self = ::getpid();
    const Record m_first{Kind::Trace, "\nfirst", m_self};
    const Record m_call{Kind::HostCall, "0 {}", m_self};
    const Record m_maybe{Kind::Trace, "maybe", m_self};
    const Record m_fine{Kind::Trace, "fine", m_self};
    const Record m_always{Kind::Print, "always", m_self};
};

TEST_F(GoldenTraceTest, AcceptsTheRoadAtEachLevel) {
    EXPECT_EQ(compare({m_first, m_call, m_fine, m_always}, 5), "");
    EXPECT_EQ(compare({m_first, m_call, m_maybe, m_fine, m_always}, 4), "");
    EXPECT_EQ(compare({m_first, m_call, m_always}, 3), "");
    EXPECT_EQ(compare({m_call, m_always}, 0), "");
}

TEST_F(GoldenTraceTest, NamesEachDifference) {
    const std::vector<std::vector<Record>> wrong = {
        {},                                                           // nothing
        {m_first, m_call, m_fine},                                    // the last is missing
        {m_call, m_first, m_fine, m_always},                          // another order
        {m_first, m_call, m_fine, m_always, m_always},                // one more
        {m_first, m_call, {Kind::Print, "fine", m_self}, m_always},   // another way to the host
        {m_first, m_call, m_fine, {Kind::Print, "always\n", m_self}}, // another line end
        {m_first, m_call, m_fine, m_always, {Kind::Trace, "x", 1}},   // another thread
    };
    for (const std::vector<Record>& records : wrong) {
        EXPECT_NE(compare(records, 5), "");
    }
    EXPECT_NE(compare({m_first, m_call, m_fine, m_always}, 3), "") << "written below its level";
    EXPECT_NE(compare({m_first, m_call, m_fine, m_always}, 5, {}), "") << "no command";
    EXPECT_NE(compare({m_first, m_call, m_fine, m_always}, 5, {"/sbin/halt", "/sbin/halt"}), "");
}

TEST_F(GoldenTraceTest, RefusesALineThatIsNone) {
    std::ofstream("/tmp/wrong.golden") << "[host]\n6 no such level\n";
    EXPECT_THROW(loadGolden("/tmp", "wrong.golden"), std::runtime_error);
}

} // namespace
} // namespace module_test
