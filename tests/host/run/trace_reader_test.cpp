// The trace of one shutdown, written with each prefix and at each level, cut and mixed: the same is read as
// far as it is there.
#include "host/run/trace_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <tuple>

#include <fmt/format.h>

#include "host/run/known_run_json.h"

namespace volad_dev {
namespace {

using Prefix = std::string (*)(unsigned second);
std::string iso(unsigned second) {
    return fmt::format("2026-12-31T23:59:{:02}.250+01:00 volad   : ", 20 + second);
}
std::string syslog(unsigned second) {
    return fmt::format("{} host volad[123]: ", second < 10 ? fmt::format("Dec 31 23:59:{}", 50 + second)
                                                           : fmt::format("Jan  1 00:00:{:02}", second - 10));
}
std::string sinceBoot(unsigned second) {
    return fmt::format("10.0.0.1 [{:8}.500] ", 99 + second);
}
std::string nothing(unsigned /*second*/) {
    return "";
}

std::string traceOf(unsigned level, Prefix prefix = sinceBoot, std::string_view lineEnd = "\n",
                    std::string_view between = "") {
    std::string trace;
    std::ifstream file(EM_RESET_TRACE);
    file.ignore(1000, '\n');
    unsigned ofLine = 0;
    unsigned second = 0;
    for (std::string text; std::getline(file >> ofLine >> second, text);) {
        if (ofLine <= level) {
            trace += fmt::format("{}{}{}{}", prefix(second), text.substr(1), lineEnd, between);
        }
    }
    return trace;
}

std::vector<KnownRun> read(std::string_view trace) {
    std::vector<KnownRun> runs;
    TraceReader reader([&](KnownRun&& run) { runs.push_back(std::move(run)); });
    reader.take(trace);
    reader.finish();
    return runs;
}

// With what differs by the prefix alone made the same.
std::string json(std::vector<KnownRun> runs) {
    for (KnownRun& run : runs) {
        run.when.reset();
    }
    return knownRunsJson(runs);
}

TEST(TraceReader, ReadsTheWholeOfAShutdown) {
    const std::vector<KnownRun> runs = read(traceOf(3));
    ASSERT_EQ(runs.size(), 1U);
    const KnownRun& run = runs[0];
    EXPECT_TRUE(run.end == RunEnd::Command && run.job->end == KnownJob::End::TimedOut);
    std::string course =
        fmt::format("at {}, {} in {} for {}, {} after {}: ", *run.when, run.job->command, *run.job->directory,
                    *run.job->seconds, run.command->line, *run.command->seconds);
    for (const KnownPhase& phase : run.phases) {
        course += fmt::format("{} {}+{}, ", phase.name, *phase.start, *phase.seconds);
    }
    for (const KnownStatus& status : run.statuses) {
        course += fmt::format("{}@{} ", status.value, *status.at);
    }
    EXPECT_EQ(course, "at 100.500, /srv/save (now)! in /srv for 9, /sbin/reboot after 33: gate 0+2, settings "
                      "2+1, delay 3+20, job settings 23+0, job 23+9, command 32+1, "
                      "1@0 2@2 3@33 ");
    ASSERT_EQ(run.messages.size(), 5U);
    EXPECT_TRUE(run.messages[0].toModule && !run.messages[2].toModule);
    EXPECT_EQ(run.messages[0].envelope, R"({"SIP":{"V":1,"CMD":[{"OC":518,"CA":12,"DA":5}]}})");
    EXPECT_EQ(run.messages[1].envelope, R"({"SIP":{"V":1,"CMD":[{"OC":527,"DA":1}]}})");
    EXPECT_EQ(run.messages[2].envelope,
              R"({"SIP":{"V":1,"CMD":[{"OC":518,"CA":12,"MI":65538,"ST":0,"DA":5}]}})");
}

TEST(TraceReader, SeesThroughPrefixesLineEndsAndOtherLinesAtEachLevel) {
    const std::string others =
        "Other               : EM_SHUTDOWN status changed to 5\n\n### Starting module X ###\n"
        "EM_SHUTDOWN   \0 : ### St\r                    :\n";
    const std::string zeros(5000, '\0');
    for (unsigned level = 0; level <= 5; ++level) {
        const std::string plain = json(read(traceOf(level)));
        EXPECT_EQ(json(read(traceOf(level, syslog))), plain) << level;
        EXPECT_EQ(json(read(traceOf(level, iso))), plain) << level;
        for (const std::string_view lineEnd : {"\r\n", "\r", " \t\n"}) {
            EXPECT_EQ(json(read(traceOf(level, sinceBoot, lineEnd, others))), plain) << level;
        }
        EXPECT_EQ(json(read(traceOf(level, sinceBoot, "\n", zeros + std::string(40000, 'x') + '\n'))), plain);
        const KnownRun untimed = read(traceOf(level, nothing)).at(0);
        EXPECT_EQ(untimed.end, RunEnd::Command);
        EXPECT_FALSE(untimed.when || untimed.command->seconds || untimed.phases.back().seconds);
        // What the level shows.
        EXPECT_EQ(untimed.level, level);
        EXPECT_EQ(untimed.operation, "reset");
        EXPECT_EQ(untimed.by.has_value(), level >= 2);
        EXPECT_EQ(untimed.reason == uint8_t{5}, level >= 1);
        EXPECT_EQ(untimed.delay == 20U && untimed.job->limit == 9U, level >= 3);
        EXPECT_EQ(untimed.phases.size(), level == 0 ? 2U : level < 3 ? 5U : 6U);
    }
}

TEST(TraceReader, TellsTimesApart) {
    using Case = std::tuple<const char*, const char*, double>; // -1: not known
    for (const auto& [first, second, seconds] :
         {Case{"2026-03-01T00:00:00,5Z x", "[2026-03-01 01:00:02+0100]", 1.5},
          Case{"2024-02-28 23:59:59", "2024-03-01 00:00:00", 86401},
          Case{"<30>Feb 28 23:59:59 h", "Mar  1 00:00:00", 86401}, Case{"[  1.5]", "2.25 x", 0.75},
          Case{"Jan  2 00:00:00", "Jan  1 00:00:00", -86400}, Case{"[  1.5]", "Jan  1 00:00:00", -1},
          Case{"\x1B[1;32m2026-03-01 00:00:00\x1B[0m", "\x1B[m2026-03-01 00:00:01", 1},
          Case{"2026-02-30 00:00:00", "2026-03-01 00:00:00", -1}, Case{"12:00:00.5", "12:00:01.5", -1},
          Case{"10.0.0.1", "10.0.0.1", -1}}) {
        const auto from = findTime(first);
        const auto to = findTime(second);
        const auto between = from && to ? secondsBetween(*from, *to) : std::nullopt;
        EXPECT_DOUBLE_EQ(between.value_or(-1), seconds) << first;
    }
    EXPECT_EQ(findProcess("Nov 25 [5] volad[123]: "), "123");
    EXPECT_EQ(findProcess("[ 123.4] [5] a[b] c[1"), "");
}

TEST(TraceReader, ReadsWhatACutLeaves) {
    for (const unsigned level : {1U, 3U}) {
        const std::string trace = traceOf(level);
        const size_t forked = trace.find("forked: /sbin/reboot") + 20;
        for (size_t cut = trace.find("CM_RequestShutdownAndXXX ##") + 27; cut < trace.size(); ++cut) {
            const std::vector<KnownRun> runs = read(trace.substr(0, cut));
            ASSERT_EQ(runs.size(), 1U) << cut;
            EXPECT_EQ(runs[0].end, cut >= forked ? RunEnd::Command : RunEnd::Unfinished) << cut;
            EXPECT_EQ(runs[0].tellsOfCommand(), cut >= forked) << cut;
        }
        for (size_t cut = 0; cut < trace.find("SystemShutdown reboot"); ++cut) {
            const std::vector<KnownRun> runs = read(trace.substr(cut));
            ASSERT_EQ(runs.size(), 1U) << cut;
            EXPECT_TRUE(runs[0].end == RunEnd::Command && runs[0].operation == "reset") << cut;
            EXPECT_NE(runs[0].hasJob, false) << cut; // there was one
        }
    }
}

TEST(TraceReader, TellsShutdownsApart) {
    const std::string one = traceOf(5);
    EXPECT_EQ(read(one + one + traceOf(0)).size(), 3U);
    EXPECT_EQ(read(traceOf(0) + traceOf(0)).size(), 2U);
    // Two processes, of which the second starts in the middle of the first one's shutdown.
    const std::string first = traceOf(5, syslog);
    const size_t middle = first.find('\n', first.find("Start shutdown delay")) + 1;
    std::string second = first;
    for (size_t at = 0; (at = second.find("[123]", at)) != std::string::npos;) {
        second.replace(at, 5, "[124]");
    }
    const std::vector<KnownRun> runs = read(first.substr(0, middle) + second + first.substr(middle));
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(json({runs[0]}), json(read(first)));
    EXPECT_EQ(json({runs[1]}), json(read(first)));
}

// A request's data is written behind its line as it came: it must not pass for what the module did.
TEST(TraceReader, TakesNoLineOutOfAMessagesData) {
    const std::string message = "[9.000] EM_SHUTDOWN (REQ)   : OC 0x020B-0x0000 OID 0x0000 MID 0x00000000 "
                                "Stat 0x16 Data (JSON struct):";
    const std::string line = "EM_SHUTDOWN         : CAB 0001: ## CM_RequestShutdownAndXXX ##";
    for (const std::string lineEnd : {"\n", "\r\n"}) {
        const auto found = [&](const std::string& behind) {
            const std::string trace = message + lineEnd + behind + lineEnd;
            const size_t runs = read(trace).size();
            for (size_t cut = 0; cut <= trace.size(); ++cut) {
                size_t cutRuns = 0;
                TraceReader reader([&cutRuns](KnownRun&&) { ++cutRuns; });
                reader.take(trace.substr(0, cut));
                reader.take(trace.substr(cut));
                reader.finish();
                EXPECT_EQ(cutRuns, runs) << cut;
            }
            return runs;
        };
        EXPECT_EQ(found(R"({"a":")" + line + R"("})"), 0U);
        EXPECT_EQ(found(R"([9.000] x [{"a":")" + line + R"("}])"), 0U);
        // The data is one line, and one that a host left out hides nothing.
        EXPECT_EQ(found(R"({"a":1})" + lineEnd + R"({"b":")" + line), 1U);
        EXPECT_EQ(found("[9.000] x[123]: " + line), 1U);
    }
}

TEST(TraceReader, GivesShutdownsInTheOrderOfTheAsking) {
    const auto request = [](size_t reason) {
        return fmt::format(
            "EM_SHUTDOWN (REQ)   : OC 0x0205-0x0000 OID 0x0000 MID 0x00000000 Stat 0x16 Data {}\n"
            "EM_SHUTDOWN         :  #Request CM_RequestShutdownAndOff #\n",
            reason);
    };
    const std::string full = "CTaskSerializer     : ## ERROR! Task queue for priority 0 is full\n";
    const std::string begins = "EM_SHUTDOWN         : CAB 0001: ## CM_RequestShutdownAndXXX ##\n";
    const auto reasons = [](const std::string& trace) {
        std::vector<int> found;
        for (const KnownRun& run : read(trace)) {
            found.push_back(run.reason.value_or(-1));
        }
        return found;
    };
    EXPECT_EQ(reasons(request(1) + begins + request(2) + request(3) + full + request(4) + begins),
              (std::vector{1, 2, 3, 4}));
    // One that so many overtake comes late, and none is lost.
    std::string flood = request(0) + begins;
    for (size_t i = 0; i < RunOrder::kMostWaiting + 3; ++i) {
        flood += request(1 + i % 99) + full;
    }
    const std::vector<int> all = reasons(flood);
    ASSERT_EQ(all.size(), RunOrder::kMostWaiting + 4);
    EXPECT_EQ(all.front(), 1);
    EXPECT_EQ(std::ranges::count(all, 0), 1);
}

} // namespace
} // namespace volad_dev
