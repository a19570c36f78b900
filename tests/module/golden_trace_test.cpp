// The comparer itself: one that lets a difference pass makes every golden file worthless.
#include "module/golden_trace.h"
#include "module/module_test.h"

namespace em::test {
namespace {

TEST(GoldenTrace, MatchesPlaceholdersAndNothingElse) {
    const std::tuple<const char*, const char*, bool> cases[] = {{"plain ", "plain", false},
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
                                                                {"{\"V\":1}", "{\"V\":1}", true}};
    for (const auto& [pattern, text, same] : cases) {
        EXPECT_EQ(matches(pattern, text), same) << pattern << " and " << text;
    }
}

TEST(GoldenTrace, AcceptsTheScenarioAtEachLevelAndNamesEachDifference) {
    writeFile("/tmp/scenario.golden", "# comment\n[host]\n1 \\nfirst\n@part.golden\n");
    writeFile("/tmp/part.golden", "[host]\n> 0 {}\n?4 maybe\n4 fine\nP always\n[commands]\nP /sbin/halt\n");
    using enum Kind;
    const auto said = [](Kind kind, const char* text) { return Record{kind, text, ::getpid()}; };
    const Record first = said(Trace, "\nfirst"), call = said(HostCall, "0 {}"), maybe = said(Trace, "maybe");
    const Record fine = said(Trace, "fine"), always = said(Print, "always"), elsewhere{Trace, "x", 1};
    const Lines halt = {"/sbin/halt"};
    const std::tuple<std::vector<Record>, unsigned, bool, Lines> cases[] = {
        {{first, call, fine, always}, 5, true, halt},
        {{first, call, maybe, fine, always}, 4, true, halt},
        {{first, call, always}, 3, true, halt},
        {{call, always}, 0, true, halt},
        {{}, 5, false, halt},
        {{first, call, fine}, 5, false, halt},
        {{call, first, fine, always}, 5, false, halt},
        {{first, call, fine, always, always}, 5, false, halt},
        {{first, call, said(Print, "fine"), always}, 5, false, halt},
        {{first, call, fine, said(Print, "always\n")}, 5, false, halt},
        {{first, call, fine, always, elsewhere}, 5, false, halt},
        {{first, call, fine, always}, 3, false, halt}, // below its level
        {{first, call, fine, always}, 5, false, {}},
        {{first, call, fine, always}, 5, false, {"/sbin/halt", "/sbin/halt"}},
    };
    for (const auto& [records, level, same, commands] : cases) {
        const auto found = differences(loadGolden("/tmp", "scenario.golden"), records, commands, level);
        EXPECT_EQ(found.empty(), same) << records.size() << found;
    }
}

TEST(GoldenTrace, RefusesALineThatIsNone) {
    writeFile("/tmp/wrong.golden", "[host]\n6 no such level\n");
    EXPECT_THROW(loadGolden("/tmp", "wrong.golden"), std::runtime_error);
}

} // namespace
} // namespace em::test
