// One pass of the worker for each row: what it asks the host, what it makes of the answer, how long it
// sleeps. And the watcher where only a failing call of the system shows it.

#include <ctime>

#include "rig/scripted_host.h"
#include "shutdown/shutdown_module.h"
#include "support/unit_test.h"

namespace em::test {
namespace {

time_t utc(int month, int day, int hour, int minute) {
    tm when{};
    when.tm_year = 2026 - 1900;
    when.tm_mon = month - 1;
    when.tm_mday = day;
    when.tm_hour = hour;
    when.tm_min = minute;
    return ::timegm(&when);
}

struct Row {
    const char* name;
    const char* zone;
    time_t now;
    const char* status; // of the host's answer, JSON
    const char* data;
    const char* day; // as the query names it
    const char* line;
    int seconds;
};

const char* const kMonday = R"("OI":1,)";
const char* const kSunday = ""; // a zero is not sent
const char* const kNone = "No valid power off time configured for week day";
const time_t kMonday2130 = utc(3, 2, 21, 30);

const Row kRows[] = {
    {"reached", "UTC", kMonday2130, "0", "1290", kMonday, "Power off time 21:30 reached", 91},
    {"minute before", "UTC", kMonday2130 - 60, "0", "1290", kMonday, "Local time 21:29 - Off time 21:30", 30},
    {"minute after", "UTC", kMonday2130 + 60, "0", "1290", kMonday, "Local time 21:31 - Off time 21:30", 30},
    {"status as a text", "UTC", kMonday2130, R"("0xFF")", "1290", kMonday, "reached", 91},
    {"status 1", "UTC", kMonday2130, "1", "1290", kMonday, kNone, 30},
    {"no status", "UTC", kMonday2130, "", "1290", kMonday, kNone, 30},
    {"no data", "UTC", kMonday2130, "0", "", kMonday, kNone, 30},
    {"none set", "UTC", kMonday2130, "0", "65535", kMonday, kNone, 30},
    {"minus one", "UTC", kMonday2130, "0", "-1", kMonday, kNone, 30},
    {"low sixteen bits", "UTC", kMonday2130, "0", "66826", kMonday, "time 21:30 reached", 91},
    {"a text", "UTC", kMonday2130, "0", R"("1290")", kMonday, "reached", 91},
    {"a text that is no number", "UTC", kMonday2130, "0", R"("late")", kMonday, kNone, 30},
    {"not integral", "UTC", kMonday2130, "0", "1290.5", kMonday, kNone, 30},
    {"midnight", "UTC", utc(3, 2, 0, 0), "0", "0", kMonday, "time 00:00 reached", 91},
    {"last minute", "UTC", utc(3, 2, 23, 59), "0", "1439", kMonday, "time 23:59 reached", 91},
    {"no clock shows it", "UTC", utc(3, 2, 0, 0), "0", "1440", kMonday, "Off time 24:00", 30},
    {"nor this", "UTC", kMonday2130, "0", "65534", kMonday, "Off time 1092:14", 30},
    {"Sunday", "UTC", utc(3, 1, 21, 30), "0", "1290", kSunday, "reached", 91},
    {"Saturday", "UTC", utc(2, 28, 21, 30), "0", "1290", R"("OI":6,)", "reached", 91},
    {"east of UTC it is Monday", "Asia/Tokyo", utc(3, 1, 15, 1), "0", "1", kMonday, "reached", 91},
    {"first 02:30 of the autumn night", "Europe/Berlin", utc(10, 25, 0, 30), "0", "150", kSunday, "reached",
     91},
    {"second 02:30 of the autumn night", "Europe/Berlin", utc(10, 25, 1, 30), "0", "150", kSunday, "reached",
     91},
    {"02:30 does not exist in spring", "Europe/Berlin", utc(3, 29, 1, 30), "0", "150", kSunday,
     "Local time 03:30 - Off time 02:30", 30},
};

TEST(Worker, AsksAndDecides) {
    const fake::Scope scope;
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        ::setenv("TZ", row.zone, 1);
        fake::setWallClock(row.now);
        const TraceCapture trace(4);
        ScriptedHost host;
        host.answer(kPowerOffTime, row.data, row.status);
        CShutdownExtensionModule module;
        host.attachTo(&module);
        module.Start();
        EXPECT_TRUE(trace.WaitForLine("Worker thread sleeps " + std::to_string(row.seconds) + " seconds"));
        module.Stop();
        EXPECT_TRUE(trace.contains(row.line)) << trace.text();
        EXPECT_TRUE(trace.contains(std::string(R"([{"OC":57345,"OE":161,)") + row.day + R"("CA":)"));
        EXPECT_EQ(trace.contains("Task at level 0 raised"), row.seconds == 91);
        EXPECT_TRUE(trace.contains("EXIT THREAD WorkerThread()!"));
    }
}

TEST(Watcher, ThatCannotBeStartedIsReportedAndGoneWithout) {
    const fake::Scope scope;
    const TraceCapture trace(1);
    CShutdownExtensionModule module;
    fake::failNth("pthread_create", 1, EAGAIN);
    module.AfterStart();
    EXPECT_TRUE(trace.contains("\n\nEM_SHUTDOWN           : ## ERROR 0xB! Failed to start check maintenance "
                               "mode thread (Resource temporarily unavailable)!"))
        << trace.text();
}

} // namespace
} // namespace em::test
