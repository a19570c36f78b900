#include "host/check/job_check.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include "contract/places.h"
#include "contract/settings.h"
#include "host/check/elf_interpreter.h"
#include "host/check/program_search.h"
#include "host/common/interpreter_line.h"
#include "osshutdown/job_directory.h"

namespace volad_dev {
namespace {

constexpr std::string_view kShellsOwn = "'\"\\`$&;|<>(){}[]*?~=#!%";
// Words that a shell knows without a program.
constexpr std::array<std::string_view, 28> kBuiltins = {
    ".",     "[",      ":",     "break", "case", "cd",    "command", "continue", "echo",   "eval",
    "exit",  "export", "false", "for",   "if",   "kill",  "printf",  "read",     "return", "set",
    "shift", "test",   "times", "trap",  "true", "umask", "unset",   "wait"};

class Look {
public:
    Look(const MachineRoot& root, const Surroundings& host, const Settings& settings, const std::string& file)
        : m_root(root), m_host(host), m_settings(settings), m_file(file) {}

    JobLook run() {
        const std::string job = m_settings.jobName.value_or("");
        if (job.empty()) {
            return {};
        }
        if (job.size() > em::kLongestJob) {
            add("job-text-cut", fmt::format("job.name has {} bytes, and is run without those behind {}",
                                            job.size(), em::kLongestJob));
        }
        lookAtDirectory(job);
        lookAtProgram(job.substr(0, em::kLongestJob));
        lookAtLimit();
        return std::move(m_result);
    }

private:
    void add(const char* code, const std::string& text) { addAt(m_file, 0, code, text); }
    void addAt(const std::string& file, size_t line, const char* code, const std::string& text) {
        m_result.findings.push_back({file, line, code, text});
    }

    void lookAtDirectory(const std::string& job) {
        const std::optional<std::string> directory =
            em::jobDirectory(job.c_str(), m_settings.jobDirectory.value_or("").c_str());
        m_directory = pathFrom(m_host.directory, directory.value_or(m_host.directory));
        const bool given = !m_settings.jobDirectory.value_or("").empty();
        if (directory && !given && directory->find(' ') != std::string::npos) {
            add("job-directory-from-arguments",
                fmt::format("job.directory is not set, and \"{}\" is taken from job.name", *directory));
        } else if (!m_root.look(m_directory).isDirectory()) {
            // The module then goes on where the host stands. Where the program's own directory is missing the
            // program is, too, and told of.
            if (given) {
                add("job-directory-missing", fmt::format("job.directory \"{}\" is not there", m_directory));
            }
            m_directory = m_host.directory;
        }
    }

    void lookAtProgram(const std::string& job) {
        std::string program = programOf(job);
        if (program == "exec") { // keeps the signals blocked, for one program
            program = programOf(job.substr(std::min(job.find_first_not_of(" \t", 4), job.size())));
        }
        if (program.empty() || program.find_first_of(kShellsOwn) != std::string::npos) {
            return;
        }
        const bool isPath = program.find('/') != std::string::npos;
        if (!isPath && std::ranges::find(kBuiltins, program) != kBuiltins.end()) {
            return;
        }
        const std::optional<std::string> path =
            isPath ? pathFrom(m_directory, program) : findProgram(m_root, m_host, program);
        const Seen seen = path ? m_root.look(*path) : Seen{{}, {}, ENOENT};
        if (!seen.there()) {
            add("job-missing", path
                                   ? fmt::format("the job's program \"{}\" is not there", *path)
                                   : fmt::format("the job's program \"{}\" is in no directory of PATH \"{}\"",
                                                 program, m_host.path));
            return;
        }
        if (!seen.isProgram()) {
            addAt(*path, 0, "job-not-executable",
                  seen.isFile() ? "the job's program may not be executed"
                                : "the job's program is no regular file");
            return;
        }
        m_result.programs.push_back(*path);
        lookAtInterpreter(*path, MachineRoot::firstBytes(seen, kElfBeginning));
    }

    // Without one, and in no format that the kernel runs, it is the shell's to read.
    void lookAtInterpreter(const std::string& program, const std::string& firstBytes) {
        if (const std::optional<std::string> script = interpreterIn(firstBytes)) {
            if (isThere(program, 1, *script) && script->ends_with("/env")) {
                lookBehindEnv(program, firstBytes.substr(firstBytes.find(*script) + script->size()));
            }
        } else if (const std::optional<std::string> loader = elfInterpreter(firstBytes)) {
            static_cast<void>(isThere(program, 0, *loader));
        }
    }

    bool isThere(const std::string& program, size_t line, const std::string& interpreter) {
        const std::string path = pathFrom(m_directory, interpreter);
        if (path == em::place::kShell) {
            return true; // looked at anyway: without it no job is started at all
        }
        if (!m_root.look(path).isProgram()) {
            addAt(program, line, "job-interpreter-missing",
                  fmt::format("the interpreter \"{}\" is not there, or may not be executed", interpreter));
            return false;
        }
        m_result.programs.push_back(path);
        return true;
    }

    // "#!/usr/bin/env NAME" is a search of its own.
    void lookBehindEnv(const std::string& program, const std::string& rest) {
        const size_t begin = rest.find_first_not_of(" \t");
        const std::string name = begin == std::string::npos ? "" : programOf(rest.substr(begin));
        if (name.empty() || name.find_first_of("-=/") != std::string::npos) {
            return;
        }
        if (const std::optional<std::string> found = findProgram(m_root, m_host, name)) {
            m_result.programs.push_back(*found);
        } else {
            addAt(program, 1, "job-interpreter-missing",
                  fmt::format("the interpreter \"{}\" is in no directory of PATH \"{}\"", name, m_host.path));
        }
    }

    void lookAtLimit() {
        const uint32_t limit = m_settings.jobTimeout.value_or(*em::setting::kJobTimeout.fallback);
        if (limit == 0) {
            add("job-not-waited-for", "job.timeout is 0: the job runs while the machine goes down already");
        } else if (limit > kHostStopSeconds) {
            add("job-limit-too-long",
                fmt::format("job.timeout is {} s{}: a stop of the host waits for the job, and a service is "
                            "killed after {} s",
                            limit, m_settings.jobTimeout ? "" : " where it is not set", kHostStopSeconds));
        }
    }

    const MachineRoot& m_root;
    const Surroundings& m_host;
    const Settings& m_settings;
    const std::string& m_file;
    std::string m_directory; // where the job runs
    JobLook m_result;
};

} // namespace

JobLook checkJob(const MachineRoot& root, const Surroundings& host, const Settings& settings,
                 const std::string& file) {
    return Look(root, host, settings, file).run();
}

} // namespace volad_dev
