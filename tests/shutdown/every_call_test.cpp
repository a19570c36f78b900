// Every call fails once, along whole roads.
#include <sys/resource.h>

#include <ostream>

#include "shutdown/road.h"
#include "support/present_run.h"

namespace em::test {
namespace {

constexpr unsigned kHangSeconds = 30;

// A call without a "+" behind it stands for both: failing once, and from there on.
bool among(const std::string& call, const std::string& calls) {
    const std::string once = call.substr(0, call.find('+'));
    const std::string padded = " " + calls + " ";
    return !call.empty() && (padded.find(" " + call + " ") != std::string::npos ||
                             padded.find(" " + once + " ") != std::string::npos);
}

struct EveryCall : testing::TestWithParam<Road> {
    EveryCall() {
        rlimit few = {};
        ::getrlimit(RLIMIT_NOFILE, &few);
        few.rlim_cur = 256; // a child closes so many where it has no better way
        ::setrlimit(RLIMIT_NOFILE, &few);
        RoadRun::prepare(m_files);
        std::thread([] {}).join(); // the first thread brings the thread sanitizer's own
    }
    ~EveryCall() override { ::alarm(0); }

    // Walks the road once and judges its end.
    CallFaultResult walk(const CallFault& fault) {
        const TestsOwn own;
        const std::string where = GetParam().name + std::string(" ") + fault.shown();
        setPresentRun(where);
        ::alarm(kHangSeconds);
        RoadRun run(m_files, fault);
        GetParam().walk(run);
        const CallFaultResult calls = lastCallFault(); // those of its children too, which have ended
        const std::string seen = run.seen();
        const std::string call = calls.failed ? fault.call + (fault.stays ? "+" : "") : "";
        EXPECT_TRUE(isEnd(seen, call)) << where << "\n-> " << seen;
        EXPECT_EQ(run.left(), "") << where;
        EXPECT_EQ(calls.unknown, "") << "is in no table of calls";
        m_failures += calls.failed ? 1 : 0;
        return calls;
    }
    static bool isEnd(const std::string& seen, const std::string& call) {
        return std::ranges::any_of(roadEnds(), [&](const RoadEnd& end) {
            return std::string_view(end.road) == GetParam().name && end.seen == seen &&
                   (end.calls.empty() || among(call, end.calls));
        });
    }

    const TemporaryDirectory m_files;
    int m_failures = 0;
};

// Each call that the road makes fails once, in each way; then the same with all that follow it on that
// thread.
TEST_P(EveryCall, Fails) {
    if (const char* const fault = std::getenv("EM_FAULT")) {
        EXPECT_TRUE(walk(CallFault::parse(fault)).failed) << "the road does not make that call";
        return;
    }
    for (const int thread : GetParam().threads) {
        for (const std::string& call : walk({thread, "", 0, 0}).made) {
            bool failed = true;
            for (int nth = 1; failed; ++nth) {
                for (const int error : errorsOf(call)) {
                    failed = walk({thread, call, nth, error}).failed;
                    if (failed && mayStay(error)) {
                        walk({thread, call, nth, error, true});
                    }
                }
            }
        }
    }
    RecordProperty("failures", m_failures);
    EXPECT_GT(m_failures, 0);
    std::printf("%s: %d failing calls\n", GetParam().name, m_failures);
    std::fflush(stdout); // not once more by each copied child
}

INSTANTIATE_TEST_SUITE_P(Roads, EveryCall, testing::ValuesIn(roads()),
                         [](const auto& tested) { return std::string(tested.param.name); });

} // namespace

void PrintTo(const Road& road, std::ostream* stream) {
    *stream << road.name;
}

} // namespace em::test
