// The trace of one shutdown, written with each prefix and at each level, cut and mixed: the same is read as
// far as it is there.
#include "host/run/trace_reader.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <fmt/format.h>

#include "host/run/known_run_json.h"

namespace volad_dev {
namespace {

struct Line {
    unsigned level, second;
    const char* text;
};
constexpr Line kReset[] = {
    {1, 0, "### Starting module EM_SHUTDOWN ###"},
    {2, 1, "EM_SHUTDOWN (REQ)   : OC 0x0206-0x0000 OID 0x0000 CABID 0001 MID 0x00000000 Stat 0x16 Data 5"},
    {2, 1, "EM_SHUTDOWN         :  # Request CM_RequestShutdownAndReset #"},
    {3, 1, "EM_SHUTDOWN         : System shutdown status changed to 1"},
    {4, 1, "CTaskSerializer     : Task at level 0 raised"},
    {5, 1, "CTaskSerializer     : Task with priority 0 inserted into task queue!"},
    {1, 1, "EM_SHUTDOWN         : CAB 0001: ## CM_RequestShutdownAndXXX ##"},
    {2, 2, "EM_SHUTDOWN (RET)   : OC 0x0206-0x0000 OID 0x0000 CABID 0001 MID 0x00010002 Stat 0x00 Data 5"},
    {3, 3, "EM_SHUTDOWN         : System shutdown status changed to 2"},
    {3, 3, "                    :   reason = 0x05"},
    {1, 3, "EM_SHUTDOWN         : Shutdown reason: \"<Critical Temperature>\""},
    {2, 3, "EM_SHUTDOWN         : Checking shutdown settings"},
    {3, 3, "EM_SHUTDOWN         :    shutdown delay (ORBA) = 20 sec."},
    {3, 4, "EM_SHUTDOWN         : ## WARNING! No shutdown force delay specified!"},
    {3, 4, "EM_SHUTDOWN         : Start shutdown delay 20 sec..."},
    {3, 24, "EM_SHUTDOWN         : ...shutdown delay 20 exceeded"},
    {1, 24, "EM_SHUTDOWN         : CAB 0001: ###  PERFORMING S H U T D O W N  ####!"},
    {3, 24, "EM_SHUTDOWN         :   Shutdown job = /srv/save (now)!"},
    {3, 24, "EM_SHUTDOWN         :   Shutdown job working dir = "},
    {3, 24, "EM_SHUTDOWN         :   Shutdown job timeout = 9"},
    {2, 24, "EM_SHUTDOWN         : Run shutdown job (/srv/save (now)!)!"},
    {1, 24, "COSShutdown         : Shutdown job \"/srv/save (now)!\" found!"},
    {0, 24, "COSShutdown         : ExecuteCmd initiated /srv/save (now)!"},
    {0, 24, "COSShutdown         : ExecuteCmd forked: /srv/save (now)!"},
    {1, 33, "COSShutdown         : WARNING - Timeout waiting for cleanup program"},
    {3, 33, "EM_SHUTDOWN         : CM_RequestShutdownAndReset: execute shutdown and restart"},
    {1, 33, "COSShutdown         : PrepareSystemShutdown(): OK!"},
    {1, 33, "COSShutdown         : SystemShutdown reboot (/sbin/reboot)"},
    {0, 33, "COSShutdown         : ExecuteCmd initiated /sbin/reboot"},
    {0, 34, "COSShutdown         : ExecuteCmd forked: /sbin/reboot"},
    {0, 34, "COSShutdown         : ExecuteCmd finished: /sbin/reboot"},
    {3, 34, "EM_SHUTDOWN         : System shutdown status changed to 3"},
};

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
    for (const Line& line : kReset) {
        if (line.level <= level) {
            trace += fmt::format("{}{}{}{}", prefix(line.second), line.text, lineEnd, between);
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
    EXPECT_EQ(run.end, RunEnd::Command);
    EXPECT_EQ(run.when, "100.500");
    EXPECT_EQ(run.job->command, "/srv/save (now)!");
    EXPECT_EQ(run.job->directory, "/srv");
    EXPECT_EQ(run.job->end, KnownJob::End::TimedOut);
    EXPECT_EQ(run.job->seconds, 9);
    EXPECT_EQ(run.command->line, "/sbin/reboot");
    EXPECT_EQ(run.command->seconds, 33);
    std::string course;
    for (const KnownPhase& phase : run.phases) {
        course += fmt::format("{} {}+{}, ", phase.name, *phase.start, *phase.seconds);
    }
    for (const KnownStatus& status : run.statuses) {
        course += fmt::format("{}@{} ", status.value, *status.at);
    }
    EXPECT_EQ(course, "gate 0+2, settings 2+1, delay 3+20, job settings 23+0, job 23+9, command 32+1, "
                      "1@0 2@2 3@33 ");
    ASSERT_EQ(run.messages.size(), 2U);
    EXPECT_TRUE(run.messages[0].toModule && !run.messages[1].toModule);
    EXPECT_EQ(run.messages[0].envelope, R"({"SIP":{"V":1,"CMD":[{"OC":518,"CA":1,"DA":5}]}})");
    EXPECT_EQ(run.messages[1].envelope,
              R"({"SIP":{"V":1,"CMD":[{"OC":518,"CA":1,"MI":65538,"ST":0,"DA":5}]}})");
}

TEST(TraceReader, SeesThroughPrefixesLineEndsAndOtherLines) {
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
    }
}

TEST(TraceReader, KnowsWhatTheLevelShows) {
    for (unsigned level = 0; level <= 5; ++level) {
        const std::vector<KnownRun> runs = read(traceOf(level));
        ASSERT_EQ(runs.size(), 1U) << level;
        const KnownRun& run = runs[0];
        EXPECT_EQ(run.level, level);
        EXPECT_EQ(run.operation, "reset");
        EXPECT_EQ(run.by.has_value(), level >= 2);
        EXPECT_EQ(run.reason == uint8_t{5}, level >= 1);
        EXPECT_EQ(run.delay == 20U, level >= 3);
        EXPECT_EQ(run.job->limit == 9U, level >= 3);
        EXPECT_EQ(run.job->command, "/srv/save (now)!");
        EXPECT_EQ(run.phases.size(), level == 0 ? 2U : level < 3 ? 5U : 6U);
    }
}

TEST(TraceReader, TellsTimesApart) {
    struct Case {
        const char *first, *second;
        double seconds; // below 0: not known
    };
    for (const auto& [first, second, seconds] :
         {Case{"2026-03-01T00:00:00,5Z x", "[2026-03-01 01:00:02+0100]", 1.5},
          Case{"2024-02-28 23:59:59", "2024-03-01 00:00:00", 86401},
          Case{"<30>Feb 28 23:59:59 h", "Mar  1 00:00:00", 86401}, Case{"[  1.5]", "2.25 x", 0.75},
          Case{"Jan  2 00:00:00", "Jan  1 00:00:00", 0}, Case{"[  1.5]", "Jan  1 00:00:00", -1},
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
        }
        for (size_t cut = 0; cut < trace.find("SystemShutdown reboot"); ++cut) {
            const std::vector<KnownRun> runs = read(trace.substr(cut));
            ASSERT_EQ(runs.size(), 1U) << cut;
            EXPECT_TRUE(runs[0].end == RunEnd::Command && runs[0].operation == "reset") << cut;
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

} // namespace
} // namespace volad_dev
