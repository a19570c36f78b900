#include "host/rehearsal/rehearsal.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include "contract/module_interface.h"
#include "contract/places.h"
#include "host/common/failure.h"
#include "host/hosting/debug_object.h"
#include "host/hosting/module_library.h"
#include "host/rehearsal/request_run.h"
#include "host/rehearsal/schedule.h"
#include "host/rehearsal/verdict_output.h"
#include "host/sandbox/sandbox_guard.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

// Read by the module as it is loaded.
void configureTrace(unsigned level) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs before the module is loaded
    setenv(em::place::kTraceLevelVariable, std::to_string(level).c_str(), 1);
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

// Lines with the time since the request, blank before it is known.
TraceSink printer(const std::atomic<double>& requestTime) {
    return [&requestTime](const std::string& line) {
        const double since = requestTime == 0 ? -1 : monotonicNow() - requestTime;
        fmt::print("{} {}\n", since < 0 ? std::string(10, ' ') : fmt::format("[{:8.3f}]", since), line);
        std::fflush(stdout);
    };
}

class StartedModule {
public:
    StartedModule(const ModuleLibrary& library, em::HostObject& host, uint32_t cabinet)
        : m_library(library), m_module(library.create(host)) {
        if (m_module == nullptr) {
            throw std::runtime_error("EM_Create gave no module");
        }
        m_module->SetCabinetNumber(cabinet);
        m_module->Start();
        m_module->AfterStart();
    }
    StartedModule(const StartedModule&) = delete;
    StartedModule& operator=(const StartedModule&) = delete;
    ~StartedModule() {
        stop();
        if (!m_library.destroy()) {
            fmt::print(stderr, "volad-dev: EM_Delete failed\n");
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

Verdict rehearse(const RehearsalOptions& options, Settings settings) {
    std::optional<double> scheduledIn;
    if (options.schedule) {
        const time_t now = time(nullptr);
        const time_t moment = nextMoment(*options.schedule, now);
        applySchedule(settings, moment);
        scheduledIn = std::max(0.0, difftime(moment, now));
    }
    std::atomic<double> requestTime = 0;
    const TraceSinkScope trace(printer(requestTime));
    DevelopmentHost host(settings);
    const ModuleLibrary library(options.module);
    StartedModule started(library, host, settings.cabinet);
    RequestRun run(options, settings, host, started.module(), requestTime, scheduledIn);
    run.follow();
    started.stop();
    return run.conclude();
}

void writeAll(int fd, const std::string& text) {
    if (write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::system_error(errno, std::generic_category(), "verdict file");
    }
}

// The module looks for its message file in the current directory first.
void standBesideMessages(const std::string& file) {
    namespace fs = std::filesystem;
    const fs::path directory = fs::temp_directory_path() / "messages";
    fs::create_directory(directory);
    fs::create_symlink(file, directory / em::place::kEventMessages);
    fs::current_path(directory);
}

} // namespace

int runRehearsal(const RehearsalOptions& options) {
    assertSandboxInForce();
    keepToOurselves(options.stopFd);
    keepToOurselves(options.jsonFd);
    const Settings settings = options.settings.empty() ? Settings() : readSettings(options.settings);
    if (!options.messages.empty()) {
        standBesideMessages(options.messages);
    }
    configureTrace(options.trace);
    configureProperty(settings);
    Verdict verdict = rehearse(options, settings);
    verdict.left = filesLeft(layout::kScratch);
    fmt::print("\n{}", verdictText(verdict));
    if (options.jsonFd >= 0) {
        writeAll(options.jsonFd, verdictJson(verdict));
    }
    if (verdict.end == End::Interrupted) {
        return kExitInterrupted;
    }
    return verdict.asAsked ? kExitAsAsked : kExitOtherwise;
}

} // namespace volad_dev
