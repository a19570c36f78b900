// How long a request takes to its command: from slot 8 to the begin of /sbin/poweroff, which is the sandbox's
// recorder, beside its ordered parts alone: the query of the maintenance mode through the shell, and the
// shell that starts the command. What is between the two is the module's own share: queue, catalogue,
// settings.
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <functional>

#include "bench/comparison.h"
#include "bench/hosted_module.h"
#include "contract/places.h"
#include "contract/shutdown_actions.h"
#include "host/sandbox/command_record.h"

namespace em::bench {
namespace {

constexpr int kRounds = 101;

double now() {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Runs the work, which starts one command, and gives the seconds up to that.
double untilCommand(const std::function<void()>& work) {
    static const volad_dev::CommandRecorder recorder;
    static size_t known = 0;
    const double begin = now();
    work();
    const auto record = recorder.waitForRecord(std::chrono::seconds(10), known++);
    require(record.has_value() &&
                record->name == shutdownActionOf(static_cast<uint32_t>(ShutdownKind::Off)).command,
            "no command");
    return record->monotonic - begin;
}

void collectChildren() {
    while (::waitpid(-1, nullptr, 0) > 0) {
    }
}

// A fresh object each time, since a request that is carried out is its last. Without the watcher: its query
// each second is another matter.
double byModule() {
    static const HostedModule loadedOnce; // like a host's
    HostedModule module;
    module.create();
    module.start();
    const double seconds = untilCommand([&] { module.requestPowerOff(); });
    collectChildren();
    return seconds;
}

// What the module is asked to do in any case, by the calls that cost least.
void queryAndCommand() {
    FILE* const answer = ::popen(place::kMaintenanceQuery, "re");
    require(answer != nullptr && std::fgetc(answer) == place::kMaintenanceOn, "no maintenance mode");
    ::pclose(answer);
    const char* const command = shutdownActionOf(static_cast<uint32_t>(ShutdownKind::Off)).command;
    const pid_t pid = ::vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork): the floor
    if (pid == 0) {
        ::close_range(3, static_cast<unsigned>(::sysconf(_SC_OPEN_MAX)) - 1, 0);
        ::execl(place::kShell, "sh", "-c", command, nullptr);
        ::_exit(1);
    }
}

// Behind as long a pause as the module's start is, so that both begin as cold.
double byHand() {
    ::usleep(100'000);
    const double seconds = untilCommand(queryAndCommand);
    collectChildren();
    return seconds;
}

} // namespace

void addComparisons() {
    refuseOutsideSandbox();
    compare("request to command / its parts alone", kRounds, [] { return Pair{byModule, byHand}; });
}

} // namespace em::bench
