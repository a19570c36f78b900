#include "host/rehearsal/rehearsal.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include "base/unique_fd.h"
#include "contract/module_interface.h"
#include "contract/places.h"
#include "contract/settings.h"
#include "host/common/failure.h"
#include "host/hosting/debug_object.h"
#include "host/hosting/module_library.h"
#include "host/rehearsal/event_channel.h"
#include "host/rehearsal/files_left.h"
#include "host/rehearsal/request_run.h"
#include "host/rehearsal/schedule.h"
#include "host/sandbox/sandbox_guard.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

// Read by the module as it is loaded. A trace that nobody shows is off.
void configureTrace(const std::optional<unsigned>& level) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs before the module is loaded
    setenv(em::place::kTraceLevelVariable, std::to_string(level.value_or(0)).c_str(), 1);
}

// It was read: a job finds the environment of a host that has no such variable.
void forgetTraceLevel() {
    unsetenv(em::place::kTraceLevelVariable); // NOLINT(concurrency-mt-unsafe): the module has not started yet
}

// A registry of the sandbox's own, with the one property that the module looks for.
void configureProperty(const Settings& settings) {
    if (!settings.powerSwitchNotifications) {
        return;
    }
    std::filesystem::create_directories(em::place::kRegistryDirectory);
    std::ofstream file(std::filesystem::path(em::place::kRegistryDirectory) / "registry");
    const std::string path =
        fmt::format("HKEY_LOCAL_MACHINE\\{}\\{}", em::place::kDefaultProductKey, em::kModuleName);
    std::string closing = "\n"; // of the root; a line for each key comes in front
    for (size_t begin = 0; begin < path.size();) {
        const size_t end = std::min(path.find('\\', begin), path.size());
        file << '[' << path.substr(begin, end - begin) << "]\n";
        closing += '\n';
        begin = end + 1;
    }
    file << em::place::kPowerSwitchProperty << "=d=" << int{*settings.powerSwitchNotifications} << '\n'
         << closing;
    if (!file.flush()) {
        throw std::runtime_error("the sandbox's registry cannot be written");
    }
}

// The module's children find the standard descriptors only.
void keepToOurselves(int fd) {
    if (fd >= 0 && fcntl(fd, F_SETFD, FD_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "descriptor of the launcher");
    }
}

// Only this process holds its descriptors and its memory: without this, a job of the same user could take the
// pipe to the launcher out of it and write a verdict of its own. The job gets back its default with its exec.
void keepFromOtherProcesses() {
    if (prctl(PR_SET_DUMPABLE, 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "prctl");
    }
}

TraceSink traceSink(EventSender& events, const std::atomic<double>& requestTime, bool shown) {
    if (!shown) {
        return [](const std::string&) {};
    }
    return [&](const std::string& line) {
        events.trace(requestTime == 0 ? std::nullopt : std::optional(monotonicNow() - requestTime), line);
    };
}

class StartedModule {
public:
    StartedModule(const ModuleLibrary& library, em::HostObject& host, uint32_t cabinet)
        : m_library(library), m_module(library.create(host)) {
        if (m_module == nullptr) {
            throw std::runtime_error("EM_Create gave no module");
        }
        forgetTraceLevel();
        m_module->SetCabinetNumber(cabinet);
        m_module->Start();
        m_module->AfterStart();
    }
    StartedModule(const StartedModule&) = delete;
    StartedModule& operator=(const StartedModule&) = delete;
    ~StartedModule() {
        stop();
        if (!m_library.destroy()) {
            printFailure("EM_Delete failed");
        }
    }

    em::CIExtensionModule& module() { return *m_module; }
    void stop() {
        if (!m_stopped) {
            m_stopped = true;
            m_module->Stop();
        }
    }

private:
    const ModuleLibrary& m_library;
    em::CIExtensionModule* m_module;
    bool m_stopped = false;
};

// A child that nobody waited for: a job without a limit, of which this is the last that can be known.
void lookForUnwaitedJob(const Settings& settings, ShutdownRun& run) {
    const bool reached = std::ranges::any_of(
        run.phases, [](const Phase& phase) { return phase.name == "command"; }); // behind the job's settings
    if (run.job || !reached || settings.jobName.value_or("").empty() || settings.jobTimeout != 0U) {
        return;
    }
    run.job = JobRun{.command = settings.jobName->substr(0, em::kLongestJob),
                     .directory = "",
                     .started = true,
                     .exitCode = {},
                     .signal = {},
                     .output = {}};
    run.warnings.push_back({"job-not-waited-for",
                            "the job's limit is 0, so the module did not wait for it: what "
                            "became of it is not known"});
}

ShutdownRun rehearse(const RehearsalOptions& options, Settings settings, EventSender& events) {
    std::optional<double> scheduledIn;
    if (options.schedule) {
        const time_t now = time(nullptr);
        const time_t moment = nextMoment(*options.schedule, now);
        applySchedule(settings, moment);
        scheduledIn = std::max(0.0, difftime(moment, now));
    }
    std::atomic<double> requestTime = 0;
    const TraceSinkScope trace(traceSink(events, requestTime, options.trace.has_value()));
    DevelopmentHost host(settings);
    const ModuleLibrary library(options.module);
    StartedModule started(library, host, settings.cabinet);
    RequestRun run(options, settings, host, started.module(), requestTime, scheduledIn,
                   [&events](const ShutdownRun& progress) { events.progress(progress); });
    run.follow();
    started.stop();
    ShutdownRun concluded = run.conclude();
    lookForUnwaitedJob(settings, concluded);
    return concluded;
}

// The module looks for its message file in the current directory first.
void standBesideMessages(const std::string& file) {
    namespace fs = std::filesystem;
    const fs::path directory = fs::temp_directory_path() / "volad-dev-messages";
    fs::create_directory(directory);
    fs::create_symlink(file, directory / em::place::kEventMessages);
    fs::current_path(directory);
}

Settings settingsOf(const RehearsalOptions& options) {
    Settings settings;
    if (options.settingsFd >= 0) {
        const std::string text = readSettingsText(fmt::format("/proc/self/fd/{}", options.settingsFd));
        close(options.settingsFd);
        settings = parseSettings(text, options.settings);
    }
    if (options.withoutDelay) {
        settings.shutdownDelay = 0;
        settings.forceDelay = 0;
        settings.powerOffTimes = {};
    }
    return settings;
}

timespec coarseNow() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME_COARSE, &now); // the clock of files' times
    return now;
}

// None of an earlier run, and one can be written: a command that could not be recorded would count as none.
void startRecord() {
    const auto refuse = [](int error) {
        throw Failure(fmt::format("the scratch directory cannot be written: {}",
                                  std::generic_category().message(error)),
                      kExitUsage);
    };
    if (unlink(layout::kCommandRecord) != 0 && errno != ENOENT) {
        refuse(errno);
    }
    const em::UniqueFd record(open(layout::kCommandRecord, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!record.valid()) {
        refuse(errno);
    }
}

void rehearseAndReport(const RehearsalOptions& options, EventSender& events) {
    startRecord();
    const timespec begin = coarseNow();
    const Settings settings = settingsOf(options);
    if (!options.messages.empty()) {
        standBesideMessages(options.messages);
    }
    configureTrace(options.trace);
    configureProperty(settings);
    ShutdownRun run = rehearse(options, settings, events);
    LeftFiles left = filesLeft(layout::kScratch, begin);
    run.left = std::move(left.files);
    if (!left.complete) {
        run.warnings.push_back({"left-incomplete", "more was left than is listed"});
    }
    static_cast<void>(unlink(layout::kCommandRecord)); // of a directory of the machine; gone otherwise
    events.conclusion(run);
}

} // namespace

int runRehearsal(const RehearsalOptions& options) {
    assertSandboxInForce();
    keepFromOtherProcesses();
    keepToOurselves(options.stopFd);
    keepToOurselves(options.eventsFd);
    EventSender events(options.eventsFd);
    try {
        rehearseAndReport(options, events);
        return kExitAsAsked;
    } catch (const Failure& failure) {
        events.failure(failure.what(), failure.code());
    } catch (const std::exception& exception) {
        events.failure(exception.what(), kExitOtherwise);
    }
    return kExitOtherwise;
}

} // namespace volad_dev
