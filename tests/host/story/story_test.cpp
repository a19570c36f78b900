// Each row of "The shutdown did not happen" in docs/operations.md has a trace that is told with its advice.
#include "host/story/story.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include <fmt/format.h>

#include "host/run/trace_reader.h"

namespace volad_dev {
namespace {

// Lines of a trace, with one letter for a tag.
std::string traceOf(std::string_view lines) {
    std::string trace;
    for (size_t begin = 0, end = 0; begin < lines.size(); begin = end + 1) {
        end = std::min(lines.find('\n', begin), lines.size());
        const std::string_view line = lines.substr(begin, end - begin);
        const std::string_view tag = line.starts_with("E:")   ? "EM_SHUTDOWN"
                                     : line.starts_with("C:") ? "COSShutdown"
                                     : line.starts_with("Q:") ? "CTaskSerializer"
                                                              : "";
        trace += tag.empty() ? fmt::format("{}\n", line) : fmt::format("{:<20}{}\n", tag, line.substr(1));
    }
    return trace;
}

std::vector<std::string> storiesOf(std::string_view lines) {
    std::vector<std::string> stories;
    TraceReader reader([&](KnownRun&& run) { stories.push_back(storyOf(run)); });
    reader.take(traceOf(lines));
    reader.finish();
    return stories;
}

const std::string kTask = "E: CAB 0001: ## CM_RequestShutdownAndXXX ##\n";
const std::string kDelay = kTask + "E: Shutdown reason: \"x\"\n";
const std::string kPerforming = kDelay + "E: CAB 0001: ###  PERFORMING S H U T D O W N  ####!\n";
const std::string kRoot = kPerforming +
                          "C: PrepareSystemShutdown(): OK!\nC: SystemShutdown poweroff (/sbin/poweroff)\n"
                          "C: ExecuteCmd initiated /sbin/poweroff\n";
const std::string kForked =
    kRoot + "C: ExecuteCmd forked: /sbin/poweroff\nC: ExecuteCmd finished: /sbin/poweroff\n";
const std::string kCancelled = "E: CAB 0001: System shutdown was cancelled by ORBA call!\n";
const std::string kReply = "E:  #Reply CM_RequestShutdownAndHalt #\n";
const std::string kRequest =
    "EM_SHUTDOWN (REQ)   : OC 0x0205-0x0000 OID 0x0000 MID 0x00000000 Stat 0x16 Data 1\n"
    "E:  #Request CM_RequestShutdownAndOff #\n";

struct Told {
    RunCause cause;
    std::string trace;
    const char* end; // of its story; what follows "end" there
};
const std::vector<Told> kTold = {
    {RunCause::NeverATask, kReply + "Q: ## ERROR! Task queue for priority 0 is full\n", "the queue was full"},
    {RunCause::NeverATask, kRequest + "Q: Manager locked for Tasks at level 0. Task ignored!\n",
     "the queue was shut"},
    {RunCause::NeverATask,
     kRequest + "EM_SHUTDOWN (RET)   : OC 0x0205-0x0000 OID 0x0000 MID 0x00000000 Stat 0x14 Data 1\n",
     "answered with \"ST\" 20"},
    {RunCause::NeverATask, kForked + kReply, "an earlier shutdown had shut the queue"},
    {RunCause::NeverATask, "E: CAB 0001: ## START CM_Disconnect ##\n" + kReply,
     "an earlier shutdown had shut the queue"},
    {RunCause::GateClosed, kTask + "E: Maintenance Mode not set. Shutdown aborted!\n",
     "refused: the maintenance mode was not set"},
    {RunCause::Cancelled, kDelay + kCancelled, "cancelled before the delay ran out"},
    {RunCause::CancelledTooLate, kForked + kCancelled, "the command had been started"},
    {RunCause::Stopped, kDelay + "E: ...shutdown delay 5 exceeded\nE: System shutdown status changed to 3\n",
     "during the delay"},
    {RunCause::Stopped, kDelay + "### Stopping module EM_SHUTDOWN ###\n", "during the delay"},
    {RunCause::NotRoot, kPerforming + "C: PrepareSystemShutdown(): FAILED!\n" + kCancelled,
     "does not run as root"},
    {RunCause::CommandFailed, kRoot + "C: ExecuteCmd failed: /sbin/poweroff\n", "the host's standard error"},
    {RunCause::CommandStarted, kForked, "the command was started"},
    {RunCause::Exception, kDelay + "E: ## EXCEPTION in OnTaskExecution()! ##\n",
     "an exception ended the sequence"},
    {RunCause::Exception, kForked + "E: ## EXCEPTION in OnTaskExecution()! ##\n",
     "an exception ended the sequence"},
    {RunCause::None, kDelay + "E: ## EXCEPTION in Stop()! ##\n### Stopping module OTHER ###\n",
     "it is in its phase \"delay\" then"},
};

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

TEST(Story, HasAnAdviceForEachRowOfThePage) {
    const std::vector<std::string> page = adviceOfPage();
    ASSERT_EQ(page.size(), kRunCauses.size() - 1);
    for (size_t row = 0; row < page.size(); ++row) {
        EXPECT_EQ(page[row], kRunCauses[row].advice);
        EXPECT_TRUE(std::ranges::any_of(kTold, [&](const Told& told) {
            return told.cause == kRunCauses[row].cause;
        })) << page[row];
    }
    for (const Told& told : kTold) {
        const std::string story = storiesOf(told.trace).back();
        EXPECT_NE(story.find(told.end), std::string::npos) << story;
        EXPECT_NE(story.find(rowOf(told.cause).advice), std::string::npos) << story;
    }
}

TEST(Story, TellsWhatIsNotKnownAndWhichLevelWouldTell) {
    EXPECT_EQ(
        storiesOf(kForked).back(),
        "asked    off, reason: x\n"
        "end      the command was started\n"
        "do       if the system did not go down, see the command's own messages on the host's standard "
        "error, the service manager's journal, and systemd-inhibit --list\n"
        "took     not known: the lines have no times\n"
        "job      none\n"
        "command  /sbin/poweroff\n"
        "level    1, as it seems\n"
        "unknown  who asked (level 2 would tell); the reason's number, the delay (level 3 would tell)\n");
    EXPECT_EQ(storiesOf("E: Power off time 21:30 reached - Request system shutdown!\n").back(),
              "asked    off by schedule, reason 3: <Realtime Clock>\n"
              "end      the trace ends before the shutdown does; it is in its phase \"gate\" then\n"
              "do       see a trace that goes on longer\n"
              "took     not known: the lines have no times\n"
              "command  none was started\n"
              "level    1, as it seems\n"
              "unknown  what the queue made of it (level 4 would tell)\n");
}

TEST(Story, TellsOfRequestsJobsAndCancels) {
    const std::string job = "C: ExecuteCmd initiated /a\x1B/b\nC: ExecuteCmd forked: /a\x1B/b\n";
    struct Case {
        std::string trace, told;
    };
    for (const auto& [trace, told] :
         {Case{kRequest + kTask, "asked    off by power switch, reason 1: <Power Switch>\n"},
          Case{kReply + kTask, "asked    halt by reply\n"},
          Case{kDelay + "2.5 E:  # Request CM_ShutdownRequestCancelled #\n",
               "asked    a shutdown, reason: x\n"},
          Case{"0.5 EM_SHUTDOWN         : CAB 0001: ## CM_RequestShutdownAndXXX ##\n"
               "2.75 EM_SHUTDOWN         :  # Request CM_ShutdownRequestCancelled #\n",
               "delay    a cancel came after 2.25 s\n"},
          Case{kPerforming + job, "job      /a\\x1B/b: what became of it is not known\n"},
          Case{kPerforming + job + "C: Start cleanup program failed! Error code 11\n", "failed, error 11\n"},
          Case{kPerforming + "E:   Shutdown job timeout = 0\n" + job + "C: Cleanup program finished\n",
               "limit 0 s: not waited for\n"}}) {
        const std::string story = storiesOf(trace).back();
        EXPECT_NE(story.find(told), std::string::npos) << story;
    }
}

} // namespace
} // namespace volad_dev
