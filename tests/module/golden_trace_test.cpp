// The comparer itself: one that lets a difference pass makes every golden file worthless.
#include "module/golden_trace.h"
#include "module/module_test.h"

namespace em::test {
namespace {

TEST(GoldenTrace, MatchesPlaceholdersAndNothingElse) {
    const struct {
        const char* pattern;
        const char* text;
        bool same;
    } cases[] = {{"plain ", "plain", false},
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
    const auto said = [](char kind, const char* text) {
        return Record{kind == 'T'   ? Kind::Trace
                      : kind == 'P' ? Kind::Print
                                    : Kind::HostCall,
                      text, ::getpid()};
    };
    const Record first = said('T', "\nfirst"), call = said('>', "0 {}"), maybe = said('T', "maybe");
    const Record fine = said('T', "fine"), always = said('P', "always"), elsewhere{Kind::Trace, "x", 1};
    const std::vector<std::string> halt = {"/sbin/halt"};
    const struct {
        std::vector<Record> records;
        unsigned level;
        bool same;
        std::vector<std::string> commands;
    } cases[] = {
        {{first, call, fine, always}, 5, true, halt},
        {{first, call, maybe, fine, always}, 4, true, halt},
        {{first, call, always}, 3, true, halt},
        {{call, always}, 0, true, halt},
        {{}, 5, false, halt},
        {{first, call, fine}, 5, false, halt},
        {{call, first, fine, always}, 5, false, halt},
        {{first, call, fine, always, always}, 5, false, halt},
        {{first, call, said('P', "fine"), always}, 5, false, halt},
        {{first, call, fine, said('P', "always\n")}, 5, false, halt},
        {{first, call, fine, always, elsewhere}, 5, false, halt},
        {{first, call, fine, always}, 3, false, halt}, // below its level
        {{first, call, fine, always}, 5, false, {}},
        {{first, call, fine, always}, 5, false, {"/sbin/halt", "/sbin/halt"}},
    };
    for (const auto& each : cases) {
        const std::string found =
            differences(loadGolden("/tmp", "scenario.golden"), each.records, each.commands, each.level);
        EXPECT_EQ(found.empty(), each.same) << &each - cases << found;
    }
}

TEST(GoldenTrace, RefusesALineThatIsNone) {
    writeFile("/tmp/wrong.golden", "[host]\n6 no such level\n");
    EXPECT_THROW(loadGolden("/tmp", "wrong.golden"), std::runtime_error);
}

} // namespace
} // namespace em::test
