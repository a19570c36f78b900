#include "simulation/simulated_run.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "base/system_fake.h"
#include "contract/places.h"
#include "rig/scripted_host.h"
#include "shutdown/shutdown_module.h"
#include "simulation/message_judge.h"
#include "simulation/simulated_machine.h"
#include "support/json.h"

namespace em::test {
namespace {

constexpr uint32_t kOff = 517;
constexpr uint32_t kReset = 518;
constexpr uint32_t kHalt = 522;
constexpr uint32_t kSystemShutdown = 0x30000;
constexpr int64_t kStartMinute = 21 * 60 + 30; // of the simulated machine
constexpr int64_t kHangsMs = 10'000'000;
constexpr char kJob[] = "/job";
constexpr char kGivenDirectory[] = "/usr";
constexpr char kFallbackDirectory[] = "/etc"; // of a job in the root directory

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

// The descriptor that would come next: a higher one than before is a leak.
int lowestFree() {
    const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(fd);
    return fd;
}

class SimulatedRun {
public:
    SimulatedRun(const RunPlan& plan, bool withTrace)
        : m_plan(plan),
          m_withTrace(withTrace),
          m_schedule(plan.seed ^ 0x5EED),
          m_judge(factsOf(plan)),
          m_messages(factsOf(plan)),
          m_machine(world()) {}

    RunResult run();

private:
    static RunFacts factsOf(const RunPlan& plan);
    SimulatedMachine::World world();
    void prepareHost();
    void answerAsPlanned();
    ProgramRun started(const std::string& command);
    void onRecord();
    void perform(Act act);
    void request(uint32_t code, uint32_t reason);
    void settle();
    void note(const std::string& text) { recording().add(Kind::HostCall, text); }
    std::string shown() const;

    const RunPlan& m_plan;
    const bool m_withTrace;
    Draw m_schedule;
    bool m_gate = m_plan.gate;
    OutcomeJudge m_judge;
    MessageJudge m_messages;
    SimulatedMachine m_machine;
    const int64_t m_beginMs = m_machine.nowMs();
    std::unique_ptr<CShutdownExtensionModule> m_module;
    ScriptedHost m_host;
    std::vector<int64_t> m_times; // of the records
    std::array<size_t, kStates> m_recordsIn{};
    RunResult m_result;
    bool m_stopped = false;
    bool m_ending = false; // from here on nothing may call the module any more
};

RunFacts SimulatedRun::factsOf(const RunPlan& plan) {
    const bool directoryGiven = plan.answerOf(setting::kJobDirectory) == Answer::Value;
    return {.delayMs = plan.delayMs(),
            .forceDelay = plan.forceDelaySeconds(),
            .jobMs = plan.jobRunsMs(),
            .jobLimitMs = plan.jobLimitMs(),
            .jobDirectory = plan.fails({"chdir"}) ? ""
                            : directoryGiven      ? kGivenDirectory
                                                  : kFallbackDirectory,
            .offTime = plan.offTime() >= 0,
            .offTimeDue =
                plan.offTime() >= 0 && plan.stopAtMs == 0 && !plan.happens(Act::Stop) && plan.faults.empty(),
            .gate = plan.gate,
            .toolMs = plan.toolMs,
            .root = plan.root,
            .childrenFail = plan.fails({"clone", "fork", "execv"}),
            .queriesFail = plan.toolHangs || plan.fails({"posix_spawn", "pipe2", "poll", "read"}),
            .waitsFail = plan.fails({"pthread_cond_init", "pthread_cond_timedwait"}),
            .slackMs = plan.faults.empty() ? 0 : 200,
            .silenceMs = plan.longestSilenceMs()};
}

SimulatedMachine::World SimulatedRun::world() {
    return {.tool =
                [this] {
                    const char first = m_gate ? 'E' : 'D';
                    note(std::string(mark::kTool) + (m_plan.toolHangs ? '-' : first));
                    const int64_t ends = m_plan.toolHangs ? kHangsMs : m_plan.toolMs + 1;
                    return ToolRun{first, m_plan.toolMs, ends};
                },
            .program = [this](const std::string& command) { return started(command); },
            .choose = [this](size_t count) { return m_plan.yieldOneIn != 0 ? m_schedule.below(count) : 0; },
            .stuck =
                [this](const std::string& why) {
                    std::fprintf(stderr, "%s%s%s\n", m_plan.text().c_str(), shown().c_str(), why.c_str());
                    std::abort();
                },
            .childrenCollectedElsewhere = m_plan.collectedElsewhere};
}

// A job that ends within its limit is to be collected; nothing else that was started is waited for.
ProgramRun SimulatedRun::started(const std::string& command) {
    const bool collected = m_judge.runsJob() && !m_plan.collectedElsewhere;
    if (command.empty()) {
        return {0, collected && m_plan.jobLimitMs() != 0};
    }
    note(mark::kRan + command + mark::kIn + std::filesystem::current_path().string());
    const int64_t lasts = command == kJob ? m_plan.jobMs : 0;
    return {lasts, collected && lasts < m_plan.jobLimitMs()};
}

void SimulatedRun::answerAsPlanned() {
    const std::pair<Setting, std::string> values[] = {
        {setting::kShutdownDelay, std::to_string(m_plan.delay)},
        {setting::kForceDelay, std::to_string(m_plan.forceDelay)},
        {setting::kJobName, quoted(m_plan.job ? kJob : "")},
        {setting::kJobDirectory, quoted(kGivenDirectory)},
        {setting::kJobTimeout, std::to_string(m_plan.jobLimit)},
        {setting::kPowerOffTime,
         std::to_string(m_plan.offTimeMinutes < 0 ? int64_t{kNoPowerOffTime}
                                                  : kStartMinute + m_plan.offTimeMinutes)}};
    for (const auto& [setting, value] : values) {
        const Answer answer = m_plan.answerOf(setting);
        if (answer == Answer::Value || answer == Answer::Refused) {
            m_host.answer(setting.item, value, answer == Answer::Refused ? "1" : "0");
        }
    }
}

void SimulatedRun::prepareHost() {
    answerAsPlanned();
    m_host.onMessage([this](uint32_t code, uint32_t item, Envelope& /*envelope*/) {
        const auto asked = std::find_if(em::kSettings.begin(), em::kSettings.end(),
                                        [item](const Setting& each) { return each.item == item; });
        if (code == kSettings && asked != em::kSettings.end() && m_plan.answerOf(*asked) == Answer::Silent) {
            m_machine.sleepUntilMs(m_machine.nowMs() + kHostTimeoutMs);
        }
    });
    recording().onLine([this](const std::string&) { onRecord(); });
}

// On the thread that made the record, which is the only one to run: judged first, then others may run.
void SimulatedRun::onRecord() {
    m_times.push_back(m_machine.nowMs());
    const Record record = recording().last();
    m_judge.see(record, m_times.back());
    m_messages.see(record, m_times.back());
    const State state = m_judge.where();
    const size_t inState = ++m_recordsIn.at(static_cast<size_t>(state));
    for (const RunPlan::Happening& happening : m_plan.happenings) {
        const bool comes = happening.in ? happening.in == state && happening.atRecord == inState
                                        : happening.atRecord == m_times.size();
        if (comes && !m_ending) {
            m_result.met = state;
            m_machine.spawn([this, act = happening.act] { perform(act); }, m_machine.nowMs());
            m_machine.yield(true);
        }
    }
    if (m_plan.yieldOneIn != 0 && m_schedule.oneIn(m_plan.yieldOneIn)) {
        m_machine.yield();
    }
}

void SimulatedRun::request(uint32_t code, uint32_t reason) {
    note(mark::kAsks + std::to_string(code) + " " + std::to_string(reason));
    SipJson envelope =
        commandOf(R"({"OC":)" + std::to_string(code) + R"(,"DA":)" + std::to_string(reason) + "}");
    if (code == kHalt) {
        m_module->ApplicationReply(&envelope);
    } else if (!m_module->HandleRequest(&envelope) || envelope.GetUint("ST", 9) != 0) {
        note("# not answered with 0");
        m_result.fault = "a request that was not answered";
    }
}

void SimulatedRun::perform(Act act) {
    switch (act) {
    case Act::Off:
    case Act::Reset:
    case Act::PowerSwitch:
        request(act == Act::Reset ? kReset : kOff, act == Act::PowerSwitch ? 1 : 0);
        break;
    case Act::HaltReply:
        request(kHalt, 0);
        break;
    case Act::Cancel: {
        SipJson envelope = commandOf(R"({"OC":521})");
        if (!m_module->HandleRequest(&envelope) || envelope.GetUint("ST", 9) != 0) {
            m_result.fault = "a cancel that was not answered";
        }
        break;
    }
    case Act::Stop: // the host's Start and Stop come one by one
        if (m_stopped || m_result.startedAt == 0) {
            return;
        }
        m_stopped = true;
        if (m_result.stoppedAt == 0) {
            m_result.stoppedAt = m_times.size();
        }
        m_module->Stop();
        note(mark::kStopped);
        break;
    case Act::Disconnect:
        note(mark::kAsks + std::string("514 0"));
        m_module->Notify(kSystemShutdown, 0, 0);
        note(mark::kNotified);
        break;
    case Act::Flip:
        m_gate = !m_gate;
        note(mark::kFlips);
        break;
    }
}

// Until nothing is under way and no happening is to come, or the moment of Stop.
void SimulatedRun::settle() {
    if (m_plan.stopAtMs != 0) {
        m_machine.sleepUntilMs(m_beginMs + m_plan.stopAtMs);
        return;
    }
    const int64_t end = m_beginMs + m_plan.boundMs();
    const int64_t scheduled = m_plan.offTime() >= 0 ? m_beginMs + (m_plan.offTime() + 1) * 60'000 : 0;
    while (!m_machine.hostThreadsEnded() || !m_judge.quiet() || m_machine.nowMs() < scheduled) {
        if (m_machine.nowMs() > end) {
            m_result.fault = "what was asked for has no end";
            return;
        }
        m_machine.sleepUntilMs(m_machine.nowMs() + 1'000);
    }
}

std::string SimulatedRun::shown() const {
    std::string text;
    std::vector<pid_t> threads;
    const std::vector<Record> records = recording().all();
    for (size_t i = 0; i < records.size(); ++i) {
        const Record& record = records[i];
        auto thread = std::find(threads.begin(), threads.end(), record.thread);
        if (thread == threads.end()) {
            thread = threads.insert(threads.end(), record.thread);
        }
        std::array<char, 64> head{};
        std::snprintf(head.data(), head.size(), "%5zu %9.3f %2d %s", i + 1,
                      static_cast<double>(m_times.at(i) - m_beginMs) / 1000,
                      static_cast<int>(thread - threads.begin()), record.kind == Kind::HostCall ? "> " : "");
        text += head.data() + withVisibleNewlines(record.text) + "\n";
    }
    return text;
}

RunResult SimulatedRun::run() {
    const int free = lowestFree();
    for (const RunPlan::Fault& fault : m_plan.faults) {
        fake::failNth(fault.call, fault.nth, fault.error);
    }
    fake::setUserId(m_plan.root ? 0 : 1000);
    fake::setPath(place::kJobFallbackDirectory, kFallbackDirectory);
    prepareHost();
    m_module = std::make_unique<CShutdownExtensionModule>();
    m_host.attachTo(m_module.get());
    m_module->SetCabinetNumber(7);
    for (const RunPlan::Happening& happening : m_plan.happenings) {
        if (happening.atRecord == 0) {
            m_machine.spawn([this, act = happening.act] { perform(act); }, m_beginMs + happening.atMs);
        }
    }
    m_module->Start();
    if (m_plan.watcher) {
        m_module->AfterStart();
    }
    m_result.startedAt = m_times.size();
    settle();
    perform(Act::Stop);
    while (!m_machine.hostThreadsEnded()) { // they may still be in the module
        m_machine.sleepUntilMs(m_machine.nowMs() + 1'000);
    }
    m_ending = true;
    if (m_plan.stopsTwice) {
        m_stopped = false;
        perform(Act::Stop);
    }
    SipJson query = commandOf(R"({"OC":523})");
    static_cast<void>(m_module->HandleRequest(&query));
    m_result.status = query.GetUint("DA", 99);
    m_judge.end(m_result.status);
    m_messages.end();
    m_module.reset();
    recording().onLine(nullptr);
    for (const std::string& fault : {m_judge.fault(), m_messages.fault(), m_machine.leftBehind(),
                                     std::string(lowestFree() > free ? "a descriptor is left" : "")}) {
        m_result.fault += m_result.fault.empty() ? fault : "";
    }
    m_result.cells = m_judge.met();
    m_result.commands = m_judge.commands();
    m_result.records = m_times.size();
    if (m_withTrace || !m_result.fault.empty()) {
        m_result.trace = shown();
    }
    return m_result;
}

RunResult simulateOne(const RunPlan& plan, bool withTrace) {
    const fake::Scope script;
    recording().clear();
    return SimulatedRun(plan, withTrace).run();
}

} // namespace

RunResult simulate(const RunPlan& plan, bool withTrace) {
    // The first module of a process reads what later ones find read; that would be another run.
    static const RunResult first = simulateOne(RunPlan{}, false);
    return simulateOne(plan, withTrace);
}

} // namespace em::test
