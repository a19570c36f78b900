// One pass of the worker for each row: what it asks the host, what it makes of the answer, how long it
// sleeps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>

#include "frame/json_tree.h"
#include "platform/base/system_twin.h"
#include "shutdown/shutdown_module.h"
#include "support/scripted_host.h"
#include "support/trace_capture.h"

namespace em::test {
namespace {

time_t utc(int year, int month, int day, int hour, int minute) {
    tm when{};
    when.tm_year = year - 1900;
    when.tm_mon = month - 1;
    when.tm_mday = day;
    when.tm_hour = hour;
    when.tm_min = minute;
    return ::timegm(&when);
}

// Sets a member to what the JSON text says; an empty text leaves it out.
void set(JsonValue& command, std::string_view name, const std::string& text) {
    rapidjson::GenericDocument<rapidjson::UTF8<>, JsonAllocator, JsonAllocator> document;
    document.Parse(text.c_str());
    if (!document.HasParseError()) {
        json::setMember(command, name, json::deepCopy(document));
    }
}

void answerOffTime(SipJson& message, const char* status, const char* data) {
    if (message.GetUint("OC", 0) == 0xE001) {
        set(*message.CommandAt(), "ST", status);
        set(*message.CommandAt(), "DA", data);
    }
}

struct Row {
    const char* name;
    const char* zone;
    time_t now;
    const char* status; // JSON, like the data; empty = not there
    const char* data;
    const char* query;
    const char* line;
    int seconds;
};

const char* const kMonday = R"("OE":161,"OI":1,"CA":)";
const char* const kNone = "No valid power off time configured for week day";
const time_t kMonday2130 = utc(2026, 3, 2, 21, 30);

const Row kRows[] = {
    {"reached", "UTC", kMonday2130, "0", "1290", kMonday, "Power off time 21:30 reached", 91},
    {"minute before", "UTC", kMonday2130 - 60, "0", "1290", kMonday, "Local time 21:29 - Off time 21:30", 30},
    {"minute after", "UTC", kMonday2130 + 60, "0", "1290", kMonday, "Local time 21:31 - Off time 21:30", 30},
    {"status 12", "UTC", kMonday2130, "12", "1290", kMonday, "reached", 91},
    {"status 21", "UTC", kMonday2130, "21", "1290", kMonday, "reached", 91},
    {"status 255 as a text", "UTC", kMonday2130, "\"0xFF\"", "1290", kMonday, "reached", 91},
    {"status 1", "UTC", kMonday2130, "1", "1290", kMonday, kNone, 30},
    {"no status", "UTC", kMonday2130, "", "1290", kMonday, kNone, 30},
    {"no data", "UTC", kMonday2130, "0", "", kMonday, kNone, 30},
    {"null data", "UTC", kMonday2130, "0", "null", kMonday, kNone, 30},
    {"none set", "UTC", kMonday2130, "0", "65535", kMonday, kNone, 30},
    {"minus one", "UTC", kMonday2130, "0", "-1", kMonday, kNone, 30},
    {"low sixteen bits", "UTC", kMonday2130, "0", "66826", kMonday, "Power off time 21:30 reached", 91},
    {"a text", "UTC", kMonday2130, "0", "\"1290\"", kMonday, "reached", 91},
    {"a text that is no number", "UTC", kMonday2130, "0", "\"late\"", kMonday, kNone, 30},
    {"not integral", "UTC", kMonday2130, "0", "1290.5", kMonday, kNone, 30},
    {"midnight", "UTC", utc(2026, 3, 2, 0, 0), "0", "0", kMonday, "Power off time 00:00 reached", 91},
    {"last minute", "UTC", utc(2026, 3, 2, 23, 59), "0", "1439", kMonday, "Power off time 23:59 reached", 91},
    {"no clock shows it", "UTC", utc(2026, 3, 2, 0, 0), "0", "1440", kMonday, "Off time 24:00", 30},
    {"nor this", "UTC", kMonday2130, "0", "65534", kMonday, "Off time 1092:14", 30},
    {"Sunday", "UTC", utc(2026, 3, 1, 21, 30), "0", "1290", R"("OE":161,"CA":)", "reached", 91},
    {"Saturday", "UTC", utc(2026, 2, 28, 21, 30), "0", "1290", R"("OE":161,"OI":6,"CA":)", "reached", 91},
    {"east of UTC it is Monday", "Asia/Tokyo", utc(2026, 3, 1, 15, 1), "0", "1", kMonday, "reached", 91},
    {"first 02:30 of the autumn night", "Europe/Berlin", utc(2026, 10, 25, 0, 30), "0", "150",
     R"("OE":161,"CA":)", "reached", 91},
    {"second 02:30 of the autumn night", "Europe/Berlin", utc(2026, 10, 25, 1, 30), "0", "150",
     R"("OE":161,"CA":)", "reached", 91},
    {"02:30 does not exist in spring", "Europe/Berlin", utc(2026, 3, 29, 1, 30), "0", "150",
     R"("OE":161,"CA":)", "Local time 03:30 - Off time 02:30", 30},
};

class WorkerPass : public testing::TestWithParam<Row> {};

TEST_P(WorkerPass, AsksAndDecides) {
    const Row& row = GetParam();
    ::setenv("TZ", row.zone, 1);
    const twin::Scope scope;
    twin::setWallClock(row.now);
    TraceCapture trace(4);
    ScriptedHost host;
    host.answer([&](SipJson& message, uint32_t) { answerOffTime(message, row.status, row.data); });
    CShutdownExtensionModule module;
    host.attachTo(&module);
    module.Start();
    EXPECT_TRUE(trace.WaitForLine("Worker thread sleeps " + std::to_string(row.seconds) + " seconds"));
    EXPECT_TRUE(trace.contains(row.line)) << trace.text();
    EXPECT_TRUE(host.waitForMessage(std::string(R"([{"OC":57345,)") + row.query));
    EXPECT_EQ(trace.contains("Task at level 0 raised"), row.seconds == 91);
    module.Stop();
    EXPECT_TRUE(trace.contains("EXIT THREAD WorkerThread()!"));
}

INSTANTIATE_TEST_SUITE_P(Worker, WorkerPass, testing::ValuesIn(kRows), [](const auto& row) {
    std::string name = row.param.name;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; },
        '_');
    return name;
});

} // namespace
} // namespace em::test
