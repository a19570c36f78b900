#include <fcntl.h>
#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <list>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/unique_fd.h"
#include "host/sandbox/command_record.h"
#include "host/sandbox/sandbox.h"
#include "rig/files.h"
#include "verdict/case.h"
#include "verdict/ender/verdict_note.h"

namespace em::test {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr size_t kAtOnce = 4; // they mostly wait
constexpr auto kLimit = 60s;

// Written down once more, by what the kernel does: it ends the namespace's first process with this signal.
struct Verdict {
    Becomes becomes;
    const char* name;
    std::vector<std::string> commands;
    int signal;
};
const std::vector<Verdict> kVerdicts = {{Becomes::Off, "off", {"/sbin/poweroff"}, SIGINT},
                                        {Becomes::Reset, "reset", {"/sbin/reboot"}, SIGHUP},
                                        {Becomes::Halted, "halted", {"/sbin/halt"}, SIGINT},
                                        {Becomes::StaysUp, "up", {}, 0}};

const Verdict& verdictOf(Becomes becomes) {
    return *std::ranges::find(kVerdicts, becomes, &Verdict::becomes);
}

// A sandbox in which the case is played, with a directory that outlives it.
class Played {
public:
    explicit Played(const Case& played) : m_case(played), m_sandbox(options(), command()) {}

    [[nodiscard]] int fd() const { return m_sandbox.fd(); }
    [[nodiscard]] Clock::time_point deadline() const { return m_begin + kLimit; }

    // Once it has ended.
    bool report() { return tell(fault(m_sandbox.wait())); }
    bool tell(const std::string& fault) const {
        const auto spent = std::chrono::duration<double>(Clock::now() - m_begin).count();
        fmt::print("{:4} {:30} {:6} {:5.2f} s  {}\n", fault.empty() ? "ok" : "FAIL", m_case.name,
                   verdictOf(m_case.becomes).name, spent, fault);
        return fault.empty();
    }

private:
    volad_dev::SandboxOptions options() {
        volad_dev::SandboxOptions options;
        options.mode = volad_dev::SandboxMode::Ending;
        options.uid = m_case.in.uid;
        options.maintenance = m_case.in.maintenance;
        options.scratch = m_scratch.path();
        options.ownSession = true;
        options.defaultSignals = true;
        options.standard[0] = m_input.get();
        return options;
    }
    [[nodiscard]] std::vector<std::string> command() const {
        return {std::filesystem::read_symlink("/proc/self/exe"), "inside", m_case.name};
    }
    [[nodiscard]] std::string fault(int code) const {
        const Verdict& wanted = verdictOf(m_case.becomes);
        const std::string refused = *m_case.in.refused != '\0'
                                        ? fmt::format("{}{}\n", volad_dev::kRebootRefused, m_case.in.refused)
                                        : "";
        const std::string note = wanted.signal != 0 ? volad_dev::kRebootCalled : refused;
        const auto records = volad_dev::CommandRecorder(m_scratch.pathOf("command-record.jsonl")).read();
        std::vector<std::string> commands;
        std::ranges::transform(records, std::back_inserter(commands), &volad_dev::CommandRecord::commandLine);
        if (!refused.empty()) {
            commands.clear(); // the one that was refused
        }
        if (code != (wanted.signal != 0 ? 128 + wanted.signal : 0)) {
            return fmt::format("ended with {}, commands {}, ender: {}", code, commands,
                               m_scratch.read("verdict"));
        }
        if (commands != wanted.commands || m_scratch.read("verdict") != note) {
            return fmt::format("commands {}, ender: {}", commands, m_scratch.read("verdict"));
        }
        if (m_scratch.read(kJobNote) != m_case.in.job) {
            return fmt::format("the job noted \"{}\"", m_scratch.read(kJobNote));
        }
        return m_case.in.seconds != 0 ? tooEarly(records.front().monotonic) : "";
    }
    // By the two notes of one clock; without the host's, it was not asked.
    [[nodiscard]] std::string tooEarly(double command) const {
        const std::string note = m_scratch.read(kHostNote);
        const double spent = note.empty() ? 0 : command - std::stod(note);
        return spent < m_case.in.seconds ? fmt::format("the command came after {:.2f} s", spent) : "";
    }

    const Case& m_case;
    const TemporaryDirectory m_scratch;
    const em::UniqueFd m_input{::open("/dev/null", O_RDONLY | O_CLOEXEC)};
    const Clock::time_point m_begin = Clock::now();
    volad_dev::SandboxedCommand m_sandbox;
};

// Waits until one has ended, or is not to be waited for any more.
bool takeNext(std::list<Played>& running) {
    std::vector<pollfd> watched;
    for (const Played& played : running) {
        watched.push_back({played.fd(), POLLIN, 0});
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(running.front().deadline() - Clock::now());
    static_cast<void>(::poll(watched.data(), watched.size(), std::max(0, static_cast<int>(left.count()))));
    bool good = true;
    size_t index = 0;
    for (auto played = running.begin(); played != running.end(); ++index) {
        const bool ended = watched[index].revents != 0;
        if (!ended && Clock::now() < played->deadline()) {
            ++played;
            continue;
        }
        good = (ended ? played->report() : played->tell("did not end")) && good;
        played = running.erase(played);
    }
    return good;
}

} // namespace

bool judge(const std::vector<const Case*>& judged) {
    bool good = true;
    std::list<Played> running;
    for (const Case* next : judged) {
        while (running.size() == kAtOnce) {
            good = takeNext(running) && good;
        }
        running.emplace_back(*next);
    }
    while (!running.empty()) {
        good = takeNext(running) && good;
    }
    return good;
}

} // namespace em::test
