// Each scenario of the module from EM_Create to EM_Delete, against its golden file at each trace level: every
// line with its level, every message to the host, and the commands, in their order.
#include "module/golden_trace.h"
#include "module/module_test.h"

namespace em::test {
namespace {

constexpr const char* kJobDirectories = "/opt/Orlendix/vital/etc/ombrad";
constexpr const char* kJobFile = "/opt/Orlendix/vital/etc/ombrad/ombradAction.file";

struct Scenario {
    const char* name;     // of its golden file
    const char* lastCall; // with which the module has told the host everything before Stop
    void (*prepare)(HostedModule&);
    void (*walk)(HostedModule&);
};

constexpr const char* kExecuted = R"({"OC":527,"DA":3,"CA":7})";
constexpr const char* kCancelled = R"(0 {"SIP":{"V":1,"CMD":[{"OC":521,"CA":7}]}})";
constexpr const char* kIdle = "Waiting on task queue for next task";
constexpr const char* kWorkerAsks = "\"OE\":161";
constexpr const char* kForceDelayAsked = "\"OE\":5889";

void nothing(HostedModule& /*module*/) {}

void answerDelays(HostedModule& module, const char* delay, const char* forceDelay) {
    module.host.answer(kDelay, delay);
    module.host.answer(kForceDelay, forceDelay);
}

void requestOff(HostedModule& module) {
    EXPECT_EQ(module.request(R"({"OC":517,"DA":0})"), "true " + withCommand(R"({"OC":517,"DA":0,"ST":0})"));
}

void layOutJob(HostedModule& module) {
    writeFile("/scratch/job.sh", "#!/bin/sh\npwd > /scratch/job.done\n");
    answerDelays(module, "1", "2");
    module.host.answer(kJobName, R"("/scratch/job.sh")");
    module.host.answer(kJobDirectory, R"("/tmp")");
    module.host.answer(kJobTimeout, "20");
}

// Answers that are no settings: of a host that refuses, and of one that has no number.
void answerNoSettings(HostedModule& module) {
    module.host.answer(kDelay, "90", "1");
    module.host.answer(kForceDelay, R"("abc")");
}

void requestReset(HostedModule& module) {
    EXPECT_EQ(module.request(R"({"OC":518,"CA":3,"ST":255,"DA":1})"),
              "true " + withCommand(R"({"OC":518,"CA":3,"ST":0,"DA":1})"));
}

// A message file without a text for the reason; it is looked for in the current directory.
void layOutMessages(HostedModule& module) {
    std::filesystem::current_path("/scratch");
    writeFile("EVENTMSG.XML", "<EventMsg><Events><Event ErrorCode='0x0E0003'/></Events></EventMsg>");
    answerDelays(module, "0", "0");
}

void replyHalt(HostedModule& module) {
    module.reply(R"({"OC":522,"ST":0,"DA":{"RAW":[100]}})");
}

void cancelDuringTheDelay(HostedModule& module) {
    const auto begin = Clock::now();
    requestOff(module);
    ASSERT_TRUE(recording().waitFor(kForceDelayAsked));
    EXPECT_EQ(module.request(R"({"OC":521})"), "true " + withCommand(R"({"OC":521,"ST":0})"));
    EXPECT_TRUE(recording().waitFor(kCancelled));
    EXPECT_GE(Clock::now() - begin, 1s) << "a cancel does not shorten the delay";
}

void disconnect(HostedModule& module) {
    const auto begin = Clock::now();
    EXPECT_EQ(module.notify(0x30000, 0x11), 1U);
    EXPECT_GE(Clock::now() - begin, 2s) << "the host waits for the module to be ready";
}

// The worker asks at once, so the answer is there before the start: this minute.
void schedulePowerOff(HostedModule& module) {
    answerDelays(module, "0", "0");
    module.host.onMessage([&host = module.host](uint32_t, uint32_t item, Envelope&) {
        if (item == kPowerOffTime) {
            host.answerPowerOffNow();
        }
    });
}

void layOutJobFile(HostedModule& /*module*/) {
    std::filesystem::create_directories(kJobDirectories);
    writeFile(kJobFile, "something longer than what is written in its place");
}

const Scenario kScenarios[] = {
    {"off", kExecuted, layOutJob, requestOff},
    {"reset", kExecuted, answerNoSettings, requestReset},
    {"halt", kExecuted, layOutMessages, replyHalt},
    {"cancelled", kCancelled, [](HostedModule& module) { answerDelays(module, "1", "2"); },
     cancelDuringTheDelay},
    {"aborted", kCancelled, [](HostedModule&) { setMaintenance("enabled"); }, requestOff}, // not "Enabled"
    {"stopped", kForceDelayAsked,
     [](HostedModule& module) { answerDelays(module, R"("1800")", R"({"RAW":[2,0]})"); }, requestOff},
    {"disconnect", R"({"OC":523,"CA":7})", nothing, disconnect},
    {"schedule", kExecuted, schedulePowerOff, nothing},
};

// How often the handler says meanwhile that it has nothing to do; Stop then meets it idle.
size_t idleLines(const GoldenScenario& golden, unsigned level) {
    const std::vector<GoldenLine>& lines = golden.at("handler");
    return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [level](const GoldenLine& line) {
        return !line.optional && isSeen(line, level) && line.text.find(kIdle) != std::string::npos;
    }));
}

using ScenarioAtLevel = testing::TestWithParam<std::tuple<Scenario, unsigned>>;

// Start, scenario, Stop, delete; then the comparison.
void walk(const Scenario& scenario, unsigned level) {
    const GoldenScenario golden = loadGolden(EM_SCENARIOS_DIRECTORY, std::string(scenario.name) + ".golden");
    recording().clear();
    const volad_dev::CommandRecorder recorder;
    HostedModule module(level);
    scenario.prepare(module);
    ASSERT_TRUE(module.start());
    // A worker that meets Stop before its first pass would take another way.
    ASSERT_TRUE(recording().waitFor(kWorkerAsks));
    scenario.walk(module);
    ASSERT_TRUE(recording().waitFor(scenario.lastCall)) << recording().shown();
    EXPECT_TRUE(recording().waitFor(kIdle, idleLines(golden, level))) << recording().shown();
    const auto begin = Clock::now();
    EXPECT_EQ(module.stop(), 1U);
    EXPECT_LT(Clock::now() - begin, 10s) << "the delay was not cut short";
    EXPECT_TRUE(module.destroy());

    const auto wanted = golden.find("commands");
    const auto commands = commandLines(recorder, wanted == golden.end() ? 0 : wanted->second.size());
    EXPECT_EQ(differences(golden, recording().all(), commands, level), "") << recording().shown();
}

TEST_P(ScenarioAtLevel, IsAsWrittenDown) {
    const auto& [scenario, level] = GetParam();
    walk(scenario, level);
    if (scenario.name == std::string("off")) {
        EXPECT_EQ(readFile("/scratch/job.done"), "/tmp\n");
    }
}

void PrintTo(const Scenario& scenario, std::ostream* stream) {
    *stream << scenario.name;
}

std::string nameOf(const testing::TestParamInfo<std::tuple<Scenario, unsigned>>& info) {
    return std::get<Scenario>(info.param).name + std::to_string(std::get<unsigned>(info.param));
}

INSTANTIATE_TEST_SUITE_P(Scenarios, ScenarioAtLevel,
                         testing::Combine(testing::ValuesIn(kScenarios), testing::Range(0U, 6U)), nameOf);

TEST(AgentsRestart, WithAndWithoutTheServiceManager) {
    const bool withServiceManager = ::access(volad_dev::layout::kServiceManager, F_OK) == 0;
    const Scenario jobFile{"agents_restart_job_file", kWorkerAsks, layOutJobFile,
                           [](HostedModule& module) { module.reply(R"({"OC":551,"ST":5,"DA":5})"); }};
    const Scenario command{"agents_restart", kWorkerAsks, layOutJobFile,
                           [](HostedModule& module) { module.reply(R"({"OC":551,"ST":0,"DA":5})"); }};
    for (unsigned level = 0; level <= 5; ++level) {
        walk(withServiceManager ? jobFile : command, level);
    }
    if (withServiceManager) {
        EXPECT_EQ(readFile(kJobFile), "/usr/sbin/ombrad restart") << "no line end";
    }
}

} // namespace
} // namespace em::test
