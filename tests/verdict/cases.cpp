#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "host/sandbox/sandbox_guard.h"
#include "rig/sandbox.h"
#include "verdict/case.h"

namespace em::test {
namespace {

using volad_dev::Maintenance;

constexpr const char* kCompleted = " at level 0 completed";
constexpr const char* kDelayBegins = "Start shutdown delay";
constexpr const char* kCancelled = "System shutdown was cancelled by ORBA call!";

std::string inScratch(const char* name) {
    return std::string(volad_dev::layout::kScratch) + '/' + name;
}

bool came(const char* line) {
    return recording().waitFor(line);
}

// What the host asks for.

template <unsigned Code, unsigned Reason = 0>
bool request(HostedModule& module) {
    const std::string data = std::to_string(Code) + R"(,"DA":)" + std::to_string(Reason);
    return module.request(R"({"OC":)" + data + "}") ==
               "true " + withCommand(R"({"OC":)" + data + R"(,"ST":0})") &&
           came(kCompleted);
}

template <unsigned Code>
bool reply(HostedModule& module) {
    module.reply(R"({"OC":)" + std::to_string(Code) + R"(,"ST":0})");
    return came(kCompleted);
}

constexpr auto requestOff = request<517>;

bool scheduled(HostedModule& /*module*/) {
    return came(kCompleted);
}

bool refusedAtTheGate(HostedModule& module) {
    return requestOff(module) && came("Maintenance Mode not set.");
}

bool cancelInTheDelay(HostedModule& module) {
    module.request(R"({"OC":517})");
    return came(kDelayBegins) && module.request(R"({"OC":521})").starts_with("true ") && came(kCompleted) &&
           came(kCancelled);
}

bool stopInTheDelay(HostedModule& module) {
    module.request(R"({"OC":517})");
    return came(kDelayBegins) && module.stop() == 1;
}

bool offWithoutRoot(HostedModule& module) {
    return requestOff(module) && came("PrepareSystemShutdown(): FAILED!");
}

bool haltAsRequest(HostedModule& module) {
    return module.request(R"({"OC":522})") == "true " + withCommand(R"({"OC":522,"ST":25})");
}

bool disconnect(HostedModule& module) {
    return module.notify(0x30000, 0x11) == 1;
}

bool nothingAtAll(HostedModule& /*module*/) {
    return true;
}

// What the host answers.

void halfAnHour(HostedModule& module) {
    module.host.answer(kDelay, "1800");
}

void shortDelay(HostedModule& module) {
    module.host.answer(kDelay, "1");
}

// Once it is asked for that: what is to be waited for has not begun yet.
void noteWhenAsked(HostedModule& module, uint32_t item) {
    module.host.onMessage([item](uint32_t, uint32_t asked, Envelope&) {
        if (asked == item) {
            const auto now = std::chrono::steady_clock::now().time_since_epoch();
            writeFile(inScratch(kHostNote), std::to_string(std::chrono::duration<double>(now).count()));
        }
    });
}

constexpr const char* kBegun = "begun\n";
constexpr const char* kEnded = "ended\n";

// The job ends a moment behind its start: a command that did not wait would be there first.
void job(HostedModule& module) {
    writeFile("/scratch/job", "#!/bin/sh\nsleep 0.2\necho ended > " + inScratch(kJobNote) + "\n");
    module.host.answer(kJobName, R"("/scratch/job")");
    module.host.answer(kJobTimeout, "20");
}

void delaysAndJob(HostedModule& module) {
    shortDelay(module);
    module.host.answer(kForceDelay, "2");
    job(module);
    noteWhenAsked(module, kForceDelay);
}

void hungJob(HostedModule& module) {
    module.host.answer(kJobName, R"("echo begun > )" + inScratch(kJobNote) + R"(; exec sleep 1000")");
    module.host.answer(kJobTimeout, "1");
    noteWhenAsked(module, kJobTimeout);
}

void missingJob(HostedModule& module) {
    module.host.answer(kJobName, R"("/scratch/none")");
    module.host.answer(kJobTimeout, "20");
}

// The worker asks at once for the minute of the day; one that ends meanwhile would be another one.
void powerOffTimeIsNow(HostedModule& module) {
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec % 60 >= 57) {
        const timespec next = {now.tv_sec / 60 * 60 + 60, 0};
        while (::clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &next, nullptr) == EINTR) {
        }
    }
    module.host.onMessage([&host = module.host](uint32_t, uint32_t item, Envelope&) {
        if (item == kPowerOffTime) {
            host.answerPowerOffNow();
        }
    });
}

// How the host's process stands.

void ignoreChildren() {
    ::signal(SIGCHLD, SIG_IGN);
}

void collectAll() {
    ::signal(SIGCHLD, [](int) {
        const int error = errno;
        while (::waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        errno = error;
    });
}

void closeDescriptors() {
    ::close_range(0, ~0U, 0);
}

void blockSignals() {
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_BLOCK, &all, nullptr); // NOLINT(concurrency-mt-unsafe): there is one thread yet
}

void loadTwice() {
    for (int life = 0; life < 2; ++life) {
        HostedModule module(5);
        static_cast<void>(module.start());
        module.afterStart();
    }
}

void answerInLowerCase() {
    setMaintenance("enabled");
}

void powerOff() {
    volad_dev::assertSandboxInForce(volad_dev::SandboxMode::Ending); // nothing stands between these two
    // NOLINTNEXTLINE(concurrency-mt-unsafe,cert-env33-c): there is one thread yet, and no command but ours
    [[maybe_unused]] const int status = std::system("/sbin/poweroff");
}

void powerOffWithoutTheRight() {
    ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
    powerOff();
}

constexpr unsigned kAnotherUser = 1000;
constexpr size_t kShown = 3000; // of the recording where a case fails: its end

// Those that take longest first: they run beside each other.
const std::vector<Case> kCases = {
    {"disconnect", Becomes::StaysUp, disconnect},
    {"delay, force delay, job",
     Becomes::Off,
     requestOff,
     {.prepare = delaysAndJob, .job = kEnded, .seconds = 1.2}},
    {"hung job", Becomes::Off, requestOff, {.prepare = hungJob, .job = kBegun, .seconds = 1}},
    {"cancelled in the delay", Becomes::StaysUp, cancelInTheDelay, {.prepare = shortDelay}},
    {"third load after two unloads", Becomes::Reset, request<518>, {.stand = loadTwice}},
    {"schedule", Becomes::Off, scheduled, {.prepare = powerOffTimeIsNow}},

    {"off", Becomes::Off, requestOff},
    {"reset", Becomes::Reset, request<518>},
    {"halt by reply", Becomes::Halted, reply<522>},
    {"off by reply", Becomes::Off, reply<517>},
    {"reset by reply", Becomes::Reset, reply<518>},
    {"power switch", Becomes::Off, request<517, 1>, {.prepare = halfAnHour}},
    {"missing job", Becomes::Off, requestOff, {.prepare = missingJob}},
    {"host ignores SIGCHLD",
     Becomes::Off,
     requestOff,
     {.prepare = job, .stand = ignoreChildren, .job = kEnded}},
    {"host collects all", Becomes::Reset, request<518>, {.prepare = job, .stand = collectAll, .job = kEnded}},
    {"no descriptors",
     Becomes::Halted,
     reply<522>,
     {.prepare = job, .stand = closeDescriptors, .job = kEnded}},
    {"signals blocked", Becomes::Off, requestOff, {.prepare = job, .stand = blockSignals, .job = kEnded}},

    {"gate off", Becomes::StaysUp, refusedAtTheGate, {.maintenance = Maintenance::Off}},
    {"no maintenance tool", Becomes::StaysUp, refusedAtTheGate, {.maintenance = Maintenance::ToolMissing}},
    {"\"enabled\"", Becomes::StaysUp, refusedAtTheGate, {.stand = answerInLowerCase}},
    {"stopped in the delay", Becomes::StaysUp, stopInTheDelay, {.prepare = halfAnHour}},
    {"not root", Becomes::StaysUp, offWithoutRoot, {.uid = kAnotherUser}},
    {"halt as request", Becomes::StaysUp, haltAsRequest},
    {"nothing asked for", Becomes::StaysUp, nothingAtAll},

    // Without the module: another user's sandbox could end as well, and without its right the ender refuses.
    {"another user's command", Becomes::Off, nothingAtAll, {.stand = powerOff, .uid = kAnotherUser}},
    {"command without the right",
     Becomes::StaysUp,
     nothingAtAll,
     {.stand = powerOffWithoutTheRight, .uid = kAnotherUser, .refused = "reboot(2) answers EPERM"}},
};

} // namespace

const std::vector<Case>& cases() {
    return kCases;
}

int playHost(const Case& played) {
    played.in.stand();
    HostedModule module(5);
    module.host.answer(kDelay, "0");
    played.in.prepare(module);
    bool there = module.start();
    module.afterStart();
    there = there && played.walk(module);
    // Whatever was raised comes to its end before Stop, which would take it back.
    there = there && (played.walk == stopInTheDelay ||
                      recording().waitFor(kCompleted, recording().count("Task at level 0 raised")));
    there = module.stop() == 1 && module.destroy() && there;
    collectChildren(); // a command that runs has ended by then, and the sandbox with it
    if (!there) {
        const std::string shown = recording().shown();
        static_cast<void>(std::fputs(shown.c_str() + std::max(kShown, shown.size()) - kShown, stderr));
    }
    return there ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace em::test
