#include "host/rehearsal/rehearsal_launch.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "base/unique_fd.h"
#include "host/hosting/settings.h"
#include "host/rehearsal/rehearse_command.h"
#include "host/sandbox/sandbox.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

// For the signal handler: the end of the pipe that asks the rehearsal to end.
int stopPipe = -1;

void askToStop(int /*signal*/) {
    const int error = errno;
    if (write(stopPipe, "", 1) < 0) {
        // A full pipe has asked already.
    }
    errno = error;
}

void catchSignals() {
    struct sigaction action = {};
    action.sa_handler = askToStop;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND); // the second one has its default effect
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

std::string besideTheTool(const char* name) {
    return fs::read_symlink("/proc/self/exe").parent_path() / name;
}

// Everything that the rehearsal reads, each at its own path.
std::vector<std::string> filesOf(const RehearsalOptions& options) {
    std::vector<std::string> files = {options.module};
    if (!options.messages.empty()) {
        files.push_back(options.messages);
    }
    if (options.settings.empty()) {
        return files;
    }
    const Settings settings = readSettings(options.settings);
    files.push_back(options.settings);
    // Of a job with arguments only the directory can be told.
    const std::string program = settings.jobName.substr(0, settings.jobName.find(' '));
    for (const std::string& directory : {settings.jobDirectory, fs::path(program).parent_path().string()}) {
        if (directory.size() > 1 && fs::is_directory(directory)) {
            files.push_back(directory);
        }
    }
    return files;
}

em::UniqueFd openVerdictFile(const std::string& path) {
    if (path.empty()) {
        return {};
    }
    em::UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!file.valid()) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return file;
}

} // namespace

int launchRehearsal(RehearsalOptions options) {
    if (options.module.empty()) {
        options.module = besideTheTool("em_shutdown.so");
    }
    options.module = fs::absolute(options.module);
    if (!options.settings.empty()) {
        options.settings = fs::absolute(options.settings);
    }
    if (!options.messages.empty()) {
        options.messages = fs::absolute(options.messages);
    }
    SandboxOptions sandbox;
    sandbox.maintenance = options.maintenance;
    sandbox.readOnly = filesOf(options);
    sandbox.ownSession = true;

    const em::UniqueFd verdict = openVerdictFile(options.json);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    const em::UniqueFd readEnd(ends[0]);
    const em::UniqueFd writeEnd(ends[1]);
    stopPipe = writeEnd.get();
    catchSignals();

    sandbox.descriptors = {readEnd.get()};
    options.stopFd = kFirstPassedFd;
    if (verdict.valid()) {
        sandbox.descriptors.push_back(verdict.get());
        options.jsonFd = kFirstPassedFd + 1;
    }
    std::vector<std::string> command = {fs::read_symlink("/proc/self/exe")};
    std::ranges::move(argumentsOf(options), std::back_inserter(command));
    return runInSandbox(sandbox, command);
}

} // namespace volad_dev
