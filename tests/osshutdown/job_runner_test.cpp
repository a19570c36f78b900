#include "osshutdown/job_runner.h"

#include "base/current_directory.h"
#include "osshutdown/os_shutdown.h"
#include "rig/sandbox.h"
#include "support/unit_test.h"

namespace em {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kAmple = 20; // seconds

std::string currentDirectory() {
    std::string directory;
    EXPECT_TRUE(GetCurrentDirectory(directory));
    return directory;
}

std::string lines(const char* what, const std::string& command) {
    return std::string("COSShutdown         : ExecuteCmd ") + what + command + "\n";
}

struct JobRunnerTest : test::UnitTest {
    JobRunnerTest() { fs::current_path("/"); }
    ~JobRunnerTest() override {
        fs::current_path("/");
        test::collectChildren();
    }

    COSShutdown m_executor;
};

// One way to fail or to end, as both callers of the runner show it.
struct Ending {
    const char* command;
    uint32_t timeoutSeconds;
    const char* failing; // call, with this error
    int error;
    int32_t code; // of ExecuteCmd
    bool job;     // of RunShutdownJob
    std::string lines;
    std::string jobEnd; // the job's own line
};

std::string forked(const char* command) {
    return lines("initiated ", command) + lines("forked: ", command);
}
std::string finished(const char* command) {
    return forked(command) + lines("finished: ", command);
}

const std::string kNotStarted = "Start cleanup program failed! Error code ";
const char* const kRunsOn = "sleep 1.2; echo done > result";
const Ending kEndings[] = {
    {"exit 7", kAmple, "", 0, 0, true, finished("exit 7"), "Cleanup program finished\n"},
    {"sleep 0.05", 0, "", 0, 0, true, finished("sleep 0.05"), "Cleanup program finished\n"},
    {kRunsOn, 1, "", 0, 1, false, forked(kRunsOn), "WARNING - Timeout waiting for cleanup program\n"},
    {"true", kAmple, "waitpid", ECHILD, 0, true, forked("true"), "Cleanup program finished\n"},
    {"true", kAmple, "waitpid", EINVAL, -1, false, forked("true"), kNotStarted + "22\n"},
    {":", kAmple, "fork", EAGAIN, -1, false, lines("initiated ", ":") + lines("failed: ", ":"),
     kNotStarted + "11\n"}};

void makeFail(const Ending& ending) {
    fake::reset();
    if (ending.error != 0) {
        fake::failNth("clone", 1, ENOSYS, 0);
        fake::failNth(ending.failing, 1, ending.error);
    }
}

TEST_F(JobRunnerTest, EndInResultsAndLines) {
    testing::internal::CaptureStderr();
    const auto descriptors = std::distance(fs::directory_iterator("/proc/self/fd"), {});
    for (const Ending& ending : kEndings) {
        fs::current_path("/tmp");
        makeFail(ending);
        {
            const test::TraceCapture capture(0);
            EXPECT_EQ(m_executor.ExecuteCmd(ending.command, ending.timeoutSeconds), ending.code);
            EXPECT_EQ(capture.text(), ending.lines) << "also while tracing is off";
        }
        makeFail(ending);
        const test::TraceCapture capture(5);
        EXPECT_EQ(m_executor.RunShutdownJob(ending.command, m_files.path().c_str(), ending.timeoutSeconds),
                  ending.job);
        EXPECT_EQ(capture.text(), "\nCOSShutdown         : -> RunShutdownJob"
                                  "\nCOSShutdown         : Shutdown job \"" +
                                      std::string(ending.command) +
                                      "\" found!"
                                      "COSShutdown         : Start cleanup job ...\n" +
                                      ending.lines + "COSShutdown         : " + ending.jobEnd +
                                      "\nCOSShutdown         : <- RunShutdownJob");
        EXPECT_EQ(currentDirectory(), m_files.path());
    }
    const std::string notStarted = ":: Resource temporarily unavailable\n";
    EXPECT_EQ(std::distance(fs::directory_iterator("/proc/self/fd"), {}), descriptors);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), notStarted + notStarted);
    EXPECT_EQ(alarm(0), 0U);
    test::collectChildren();
    EXPECT_EQ(m_files.read("result"), "done\n") << "the job past its limit was left alone";
}

TEST_F(JobRunnerTest, NothingToDo) {
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        const test::TraceCapture capture(5);
        EXPECT_EQ(m_executor.ExecuteCmd(none, kAmple), -1);
        EXPECT_FALSE(m_executor.RunShutdownJob(none, "/tmp", kAmple));
        EXPECT_EQ(capture.text(), "\nCOSShutdown         : -> RunShutdownJob"
                                  "\nCOSShutdown         : No shutdown job to perform!"
                                  "\nCOSShutdown         : <- RunShutdownJob");
    }
    EXPECT_EQ(currentDirectory(), "/");
}

TEST_F(JobRunnerTest, ChoosesTheDirectory) {
    fs::create_directory(m_files.pathOf("fallback"));
    fs::create_directory(m_files.pathOf("given"));
    const std::string here = m_files.path();
    const std::string fallback = m_files.pathOf("fallback");
    const std::string given = m_files.pathOf("given");
    const std::string job = here + "/true";
    const std::tuple<const char*, const char*, std::string> cases[] = {
        {job.c_str(), nullptr, here},        {job.c_str(), "", here},
        {job.c_str(), given.c_str(), given}, {job.c_str(), "/no/such/directory", given}, // as before
        {"/true", nullptr, fallback},        {"//true", nullptr, "/"},
        {"true --out /tmp/x", nullptr, "/"}, // "true --out /tmp" is no directory
    };
    fs::create_symlink("/bin/true", job);
    fs::current_path(given); // below "/" a relative path would do as well
    for (const auto& [path, directory, expected] : cases) {
        fake::setPath(place::kJobFallbackDirectory, fallback);
        EXPECT_TRUE(m_executor.RunShutdownJob(path, directory, kAmple)) << path;
        EXPECT_EQ(currentDirectory(), expected) << path;
    }
}

TEST_F(JobRunnerTest, JobWithoutAPathStaysAndSaysWhere) {
    fs::current_path(m_files.path());
    const test::TraceCapture capture(1);
    EXPECT_TRUE(m_executor.RunShutdownJob("echo done > result", nullptr, kAmple));
    EXPECT_EQ(m_files.read("result"), "done\n");
    EXPECT_NE(capture.text().find(
                  "found!\nCOSShutdown         : Shutdown job without a path, current directory \"" +
                  m_files.path() + "\" is usedCOSShutdown         : Start cleanup job ...\n"),
              std::string::npos)
        << capture.text();
    EXPECT_EQ(fake::calls("chdir"), 0);
}

TEST_F(JobRunnerTest, CutsLongJobsAndWarns) {
    for (const size_t length : {259U, 260U}) {
        const test::TraceCapture capture(1);
        const std::string job = ": " + std::string(length - 2, 'x');
        EXPECT_TRUE(m_executor.RunShutdownJob(job.c_str(), "/", kAmple));
        EXPECT_TRUE(capture.contains("Shutdown job \"" + job + "\" found!"));
        EXPECT_TRUE(capture.contains("ExecuteCmd initiated " + job.substr(0, 259) + "\n"));
        EXPECT_EQ(
            capture.contains("\nCOSShutdown         : WARNING - shutdown job path cut to 259 characters!"),
            length > 259);
    }
}

} // namespace
} // namespace em
