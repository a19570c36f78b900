#include "host/rehearsal/rehearsal.h"

#include <algorithm>
#include <atomic>
#include <ctime>
#include <stdexcept>

#include "contract/module_interface.h"
#include "contract/settings.h"
#include "host/common/failure.h"
#include "host/hosting/debug_object.h"
#include "host/hosting/module_library.h"
#include "host/rehearsal/event_channel.h"
#include "host/rehearsal/files_left.h"
#include "host/rehearsal/inside_process.h"
#include "host/rehearsal/request_run.h"
#include "host/rehearsal/schedule.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

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
                     .started = {},
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

Settings settingsOf(const RehearsalOptions& options) {
    Settings settings = takeSettings(options.settingsFd, options.settings);
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
    removeRecord();
    events.conclusion(run);
}

} // namespace

int runRehearsal(const RehearsalOptions& options) {
    enterInside({options.stopFd, options.eventsFd});
    EventSender events(options.eventsFd);
    const bool told = tellFailures(events, [&] { rehearseAndReport(options, events); });
    return told ? kExitAsAsked : kExitOtherwise;
}

} // namespace volad_dev
