#include "simulation/run_plan.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace em::test {
namespace {

constexpr std::array<const char*, 8> kActNames = {
    "off",  "reset",      "off by the power switch", "halt by reply", "cancel",
    "Stop", "disconnect", "maintenance flip"};
constexpr std::array<const char*, 4> kAnswerNames = {"", " (not answered)", " (refused)", " (silent)"};

constexpr int64_t kStartTakesMs = 100; // until the worker's first look at the clock

// What brings a shutdown into a state that it does not come to by itself.
struct Lead {
    State to;
    State from;
    Act act;
};
constexpr std::array<Lead, 3> kLeads = {{{State::Cancelled, State::Delay, Act::Cancel},
                                         {State::InName, State::Job, Act::Cancel},
                                         {State::AskedAgain, State::Executing, Act::Off}}};

// What may fail once in any road, without taking away what the module stands on.
constexpr std::array<RunPlan::Fault, 15> kFaults = {{{"pthread_create", 1, EAGAIN},
                                                     {"clone", 1, EAGAIN},
                                                     {"fork", 1, EAGAIN},
                                                     {"execv", 1, ENOENT},
                                                     {"posix_spawn", 1, EAGAIN},
                                                     {"pipe2", 1, EMFILE},
                                                     {"poll", 1, EINTR},
                                                     {"poll", 1, ENOMEM},
                                                     {"read", 1, EIO},
                                                     {"waitpid", 1, EINTR},

                                                     {"pidfd_open", 1, ENOSYS},
                                                     {"pthread_cond_timedwait", 1, EINVAL},
                                                     {"pthread_cond_init", 1, ENOMEM},
                                                     {"clock_nanosleep", 1, EINVAL},
                                                     {"chdir", 1, EACCES}}};

} // namespace

uint64_t Draw::next() {
    uint64_t mixed = m_state += 0x9E3779B97F4A7C15;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
}

const char* nameOf(Act act) {
    return kActNames[static_cast<size_t>(act)];
}

RunPlan RunPlan::drawn(uint64_t seed) {
    Draw draw(seed);
    RunPlan plan;
    plan.seed = seed;
    plan.yieldOneIn = draw.of<size_t>({0, 2, 5, 20});
    plan.gate = !draw.oneIn(8);
    plan.toolHangs = draw.oneIn(20);
    plan.toolMs = draw.of<int64_t>({0, 5, 90, 1500, 29'000});
    for (Answer& answer : plan.answers) {
        answer = draw.of({Answer::Value, Answer::Value, Answer::Value, Answer::Value, Answer::Value,
                          Answer::None, Answer::Refused, Answer::Silent});
    }
    plan.delay = draw.of<int64_t>({0, 1, 7, 30});
    plan.forceDelay = draw.of<int64_t>({0, 2});
    plan.job = draw.oneIn(2);
    plan.jobMs = draw.of<int64_t>({0, 40, 3'000, 1'000'000});
    plan.jobLimit = draw.of<int64_t>({0, 1, 10});
    plan.watcher = draw.oneIn(5);
    plan.root = !draw.oneIn(25);
    plan.collectedElsewhere = draw.oneIn(10);
    plan.offTimeMinutes = draw.oneIn(4) ? static_cast<int64_t>(draw.below(3)) : -1;
    // Most of it happens around one road, so that it meets.
    const int64_t aheadOfJob = plan.toolMs + 1 + plan.silenceAheadOfDelayMs() + plan.delayMs();
    const int64_t endsAtOffTime = kStartTakesMs + plan.offTime() * 60'000 - aheadOfJob;
    int64_t base = draw.of<int64_t>({0, 100, 150, 3'000});
    if (endsAtOffTime >= 0 && draw.oneIn(2)) {
        base = endsAtOffTime;
        plan.yieldOneIn = 2;
    }
    const auto span = static_cast<size_t>(plan.delayMs() + plan.toolMs + 2'000);
    const size_t count = 1 + draw.below(6);
    plan.happenings = {{draw.of({Act::Off, Act::Reset, Act::PowerSwitch, Act::HaltReply}), base}};
    for (size_t i = 1; i < count; ++i) {
        Happening happening{draw.of({Act::Cancel, Act::Cancel, Act::Cancel, Act::Disconnect, Act::Flip,
                                     Act::Off, Act::Reset, Act::HaltReply, Act::PowerSwitch, Act::Stop})};
        if (draw.oneIn(4)) {
            happening.in = static_cast<State>(1 + draw.below(kStates - 1)); // idle is every run at first
            happening.atRecord = 1 + draw.below(8);
            for (const Lead& lead : kLeads) {
                if (lead.to == *happening.in) {
                    plan.happenings.push_back({lead.act, 0, 1, lead.from});
                }
            }
        } else if (draw.oneIn(3)) {
            happening.atRecord = 20 + draw.below(220);
        } else {
            const size_t wait = draw.oneIn(3) ? 0 : draw.below(draw.oneIn(2) ? span : 300);
            happening.atMs = base + static_cast<int64_t>(wait);
        }
        plan.happenings.push_back(happening);
    }
    if (draw.oneIn(4)) {
        plan.stopAtMs =
            base + 1 + static_cast<int64_t>(draw.below(static_cast<size_t>(plan.delayMs()) + 4'000));
    }
    plan.stopsTwice = draw.oneIn(8);
    const size_t faults = draw.oneIn(3) ? 1 + draw.below(2) : 0;
    for (size_t i = 0; i < faults; ++i) {
        Fault fault = kFaults[draw.below(kFaults.size())];
        fault.nth = 1 + static_cast<int>(draw.below(8));
        plan.faults.push_back(fault);
    }
    return plan;
}

Answer RunPlan::answerOf(const Setting& setting) const {
    const auto found = std::find_if(em::kSettings.begin(), em::kSettings.end(),
                                    [&](const Setting& each) { return each.item == setting.item; });
    return answers.at(static_cast<size_t>(found - em::kSettings.begin()));
}

int64_t RunPlan::silenceMs(const Setting& setting) const {
    return answerOf(setting) == Answer::Silent ? kHostTimeoutMs : 0;
}

int64_t RunPlan::silenceAheadOfDelayMs() const {
    return silenceMs(setting::kShutdownDelay) + silenceMs(setting::kForceDelay);
}

int64_t RunPlan::longestSilenceMs() const {
    return std::max(silenceAheadOfDelayMs(), silenceMs(setting::kJobName) +
                                                 silenceMs(setting::kJobDirectory) +
                                                 silenceMs(setting::kJobTimeout));
}

bool RunPlan::happens(Act act) const {
    return std::any_of(happenings.begin(), happenings.end(),
                       [act](const Happening& happening) { return happening.act == act; });
}

bool RunPlan::fails(std::initializer_list<std::string_view> calls) const {
    return std::any_of(faults.begin(), faults.end(), [&calls](const Fault& fault) {
        return std::find(calls.begin(), calls.end(), fault.call) != calls.end();
    });
}

int64_t RunPlan::boundMs() const {
    int64_t last = std::max<int64_t>(offTime() * 60'000 + 120'000, 0);
    int64_t each = delayMs() + 31'000 + 60'000;
    each += jobRunsMs() >= 0 ? std::min(jobMs, jobLimitMs()) : 0;
    for (const Happening& happening : happenings) {
        last = std::max(last, happening.atMs);
    }
    return last + each * static_cast<int64_t>(happenings.size() + 2);
}

std::string RunPlan::text() const {
    std::string text = "seed " + std::to_string(seed);
    const auto add = [&text](const std::string& more) { text += "\n  " + more; };
    add("other threads at one record in " + std::to_string(yieldOneIn));
    add(std::string("gate ") + (gate ? "on" : "off") + (toolHangs ? ", the tool hangs" : "") +
        ", answered in " + std::to_string(toolMs) + " ms");
    add("delay " + std::to_string(delay) + " s, force delay " + std::to_string(forceDelay) + " s");
    add(job ? "job of " + std::to_string(jobMs) + " ms, limit " + std::to_string(jobLimit) + " s" : "no job");
    for (size_t i = 0; i < answers.size(); ++i) {
        if (answers[i] != Answer::Value) {
            add(em::kSettings[i].name + std::string(kAnswerNames[static_cast<size_t>(answers[i])]));
        }
    }
    add(std::string(watcher ? "watcher, " : "") + (root ? "root" : "not root") +
        (collectedElsewhere ? ", children collected elsewhere" : "") +
        (offTimeMinutes >= 0 ? ", power-off time " + std::to_string(offTimeMinutes) + " minutes on" : ""));
    for (const Happening& happening : happenings) {
        add((happening.atRecord != 0 ? "record " + std::to_string(happening.atRecord)
                                     : std::to_string(happening.atMs) + " ms") +
            (happening.in ? " of \"" + std::string(nameOf(*happening.in)) + "\": " : ": ") +
            nameOf(happening.act));
    }
    for (const Fault& fault : faults) {
        add("call " + std::to_string(fault.nth) + " of " + fault.call +
            " fails: " + std::strerror(fault.error));
    }
    if (stopsTwice) {
        add("Stop twice");
    }
    return text + (stopAtMs != 0 ? "\n  Stop at " + std::to_string(stopAtMs) + " ms" : "") + "\n";
}

} // namespace em::test
