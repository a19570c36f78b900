#include "base/system_log.h"

#include <syslog.h>

#include "support/unit_test.h"

namespace em {
namespace {

__attribute__((format(printf, 1, 2))) void writeLog(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeSystemLog(format, arguments);
    va_end(arguments);
}

std::string lastRecord() {
    const auto records = fake::logRecords();
    return records.empty() ? "(nothing)" : records.back().text;
}

using SystemLog = test::UnitTest;

// First in this file: the log is opened once for the whole process.
TEST_F(SystemLog, IsOpenedOnceByTheFirstOfManyThreads) {
    test::inThreads(4, [](int /*thread*/) { writeLog("x"); });
    const std::string expected = std::string(program_invocation_short_name) + " " +
                                 std::to_string(LOG_PID | LOG_CONS | LOG_NDELAY) + " " +
                                 std::to_string(LOG_LOCAL1);
    EXPECT_EQ(fake::logOpenings(), std::vector<std::string>{expected});
    EXPECT_EQ(fake::logRecords().size(), 4U);
}

TEST_F(SystemLog, WritesTheFormattedTextWithASafeSecondPass) {
    // Handed over as an argument behind "\n\n", and logged.
    const std::pair<const char*, const char*> cases[] = {
        {"100%", "100%"},
        {"a%%b", "a%b"},
        {"%s%n%d", "%s%n%d"},
        {"why: %m", "why: No such file or directory"},
        {"%%m", "%m"},
        {"\n\nkept", "\n\nkept"},
        {"", ""},
    };
    for (const auto& [text, logged] : cases) {
        errno = ENOENT;
        writeLog("\n\n%s", text);
        EXPECT_EQ(lastRecord(), logged);
        EXPECT_EQ(fake::logRecords().back().priority, LOG_INFO);
        EXPECT_EQ(errno, ENOENT);
    }
}

TEST_F(SystemLog, LogsAFormatOfNewlinesAsItStandsAndWhatCannotBeFormatted) {
    const char* volatile newlines = "\n\n"; // hidden from the compiler, which warns of it
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    writeLog(newlines);
#pragma GCC diagnostic pop
    EXPECT_EQ(lastRecord(), "\n\n");
    writeLog("%lc", static_cast<wint_t>(0x7FFFFFFF)); // no character of any locale
    EXPECT_EQ(lastRecord(), "ERROR: cann't format message");
}

TEST_F(SystemLog, CutsAfter1023BytesBeforeTheSecondPass) {
    writeLog("%s", std::string(1500, 'x').c_str());
    EXPECT_EQ(lastRecord(), std::string(1023, 'x'));
    writeLog("%s", (std::string(1022, 'x') + "%%").c_str());
    EXPECT_EQ(lastRecord(), std::string(1022, 'x') + "%") << "half of a cut pair stands literally";
}

} // namespace
} // namespace em
