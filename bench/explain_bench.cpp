// What `volad-dev explain` costs for a GiB of trace, beside the least that looks at every line: blocks read
// as it reads them, memchr for the line's end and one memmem in the line. Both by processor time. The trace
// is what a daemon writes at level 5 over weeks: the watcher each second, the worker twice a minute, a
// restart a day that is read whole.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "base/unique_fd.h"
#include "bench/comparison.h"

namespace em::bench {
namespace {

constexpr int kRounds = 5;
constexpr size_t kBytes = size_t{1} << 30;
constexpr size_t kBlock = 262'144;

constexpr const char* kWatcher[] = {
    "EM_SHUTDOWN         :getMaintenanceMode()", "EM_SHUTDOWN         :MaintenanceMode is Disabled",
    "EM_SHUTDOWN         : check maintenance thread sleeps 1 seconds for next action",
    "EM_SHUTDOWN         : check maintenance thread woke up!"};
constexpr const char* kWorker[] = {"EM_SHUTDOWN         : Worker thread woke up!",
                                   "EM_SHUTDOWN         : No valid power off time configured for week day 3!",
                                   "EM_SHUTDOWN         : Worker thread sleeps 30 seconds for next action"};
constexpr const char* kRestart[] = {
    "EM_SHUTDOWN (REQ)   : OC 0x0206-0x0000 OID 0x0000 CABID 0001 MID 0x00000000 Stat 0x16 Data 5",
    "EM_SHUTDOWN         :  # Request CM_RequestShutdownAndReset #",
    "EM_SHUTDOWN         : System shutdown status changed to 1",
    "CTaskSerializer     : Task at level 0 raised",
    "EM_SHUTDOWN         : CAB 0001: ## CM_RequestShutdownAndXXX ##",
    "EM_SHUTDOWN         : System shutdown status changed to 2",
    "EM_SHUTDOWN         : Shutdown reason: \"<Critical Temperature>\"",
    "EM_SHUTDOWN         : Start shutdown delay 20 sec...",
    "EM_SHUTDOWN         : ...shutdown delay 20 exceeded",
    "EM_SHUTDOWN         : CAB 0001: ###  PERFORMING S H U T D O W N  ####!",
    "COSShutdown         : SystemShutdown reboot (/sbin/reboot)",
    "COSShutdown         : ExecuteCmd initiated /sbin/reboot",
    "COSShutdown         : ExecuteCmd finished: /sbin/reboot",
    "EM_SHUTDOWN         : System shutdown status changed to 3",
    "### Starting module EM_SHUTDOWN ###"};

// An hour of the trace.
std::string hourOf(unsigned day, unsigned hour) {
    constexpr unsigned kWorkerSeconds = 30;
    std::string text;
    const auto write = [&](unsigned second, const auto& lines) {
        const std::string prefix =
            fmt::format("2026-03-{:02} {:02}:{:02}:{:02}.{:03} volad[812]: ", day % 28 + 1, hour, second / 60,
                        second % 60, second * 37 % 1000);
        for (const char* const line : lines) {
            text += prefix + line + '\n';
        }
    };
    for (unsigned second = 0; second < 3600; ++second) {
        write(second, kWatcher);
        if (second % kWorkerSeconds == 0) {
            write(second, kWorker);
        }
    }
    if (hour == 23) {
        write(3599, kRestart);
    }
    return text;
}

// The trace in a file without a name, so that it is gone with this process whatever ends it: in memory where
// half of the free memory holds it, else on the disk.
class TraceFile {
public:
    TraceFile() {
        for (unsigned hour = 0; m_size < kBytes; ++hour) {
            const std::string text = hourOf(hour / 24, hour % 24);
            require(::write(m_file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()),
                    "no room for the trace");
            m_size += text.size();
        }
    }

    // For children, too.
    [[nodiscard]] std::string path() const { return fmt::format("/proc/{}/fd/{}", ::getpid(), m_file.get()); }

private:
    static bool fitsInMemory() {
        struct statfs memory = {};
        const auto free =
            static_cast<size_t>(::sysconf(_SC_AVPHYS_PAGES)) * static_cast<size_t>(::sysconf(_SC_PAGESIZE));
        return ::statfs("/dev/shm", &memory) == 0 && free / 2 > kBytes &&
               memory.f_bavail * static_cast<size_t>(memory.f_bsize) > kBytes + (kBytes >> 3);
    }

    UniqueFd m_file{::open(fitsInMemory() ? "/dev/shm" : std::filesystem::temp_directory_path().c_str(),
                           O_TMPFILE | O_RDWR | O_CLOEXEC, 0600)};
    size_t m_size = 0;
};

struct Cost {
    double seconds; // of the processor
    double peakKib; // resident
};

Cost costOf(const char* program, const char* first, const char* second, const char* third) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        // Not "/dev/null": grep would end at the first line that it finds.
        const UniqueFd output(::memfd_create("output", MFD_CLOEXEC));
        ::dup2(output.get(), STDOUT_FILENO);
        ::execl(program, program, first, second, third, nullptr);
        ::_exit(127);
    }
    int status = -1;
    rusage used = {};
    require(pid > 0 && ::wait4(pid, &status, 0, &used) == pid && status == 0, program);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return {seconds(used.ru_utime) + seconds(used.ru_stime), static_cast<double>(used.ru_maxrss)};
}

// The tool that was built beside this program.
Cost explain(const std::string& file) {
    static const std::string tool =
        std::filesystem::read_symlink("/proc/self/exe").parent_path() / "volad-dev";
    return costOf(tool.c_str(), "explain", file.c_str(), nullptr);
}

constexpr const char* kOneText = "CM_RequestShutdown";

void searchLines(const std::string& file) {
    constexpr std::string_view kWanted = kOneText;
    const UniqueFd input(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<char> bytes(2 * kBlock);
    size_t kept = 0;
    size_t found = 0;
    for (ssize_t count = 0; (count = ::read(input.get(), bytes.data() + kept, kBlock)) > 0;) {
        const char* line = bytes.data();
        const char* const end = bytes.data() + kept + count;
        while (const void* const newline = std::memchr(line, '\n', static_cast<size_t>(end - line))) {
            const char* const lineEnd = static_cast<const char*>(newline);
            found +=
                ::memmem(line, static_cast<size_t>(lineEnd - line), kWanted.data(), kWanted.size()) != nullptr
                    ? 1
                    : 0;
            line = lineEnd + 1;
        }
        kept = static_cast<size_t>(end - line);
        std::memmove(bytes.data(), line, kept);
    }
    require(found > 0, "nothing found");
}

} // namespace

void addComparisons() {
    static const auto trace = [] {
        static const TraceFile file;
        return file.path();
    };
    compare("explain, 1 GiB / memchr and a memmem a line", kRounds, [] {
        return Pair{[] { return explain(trace()).seconds; }, timed(1, [] { searchLines(trace()); })};
    });
    compare("explain, 1 GiB / grep -c of one text", kRounds, [] {
        return Pair{[] { return explain(trace()).seconds; },
                    [] { return costOf("/bin/grep", "-c", kOneText, trace().c_str()).seconds; }};
    });
    tell("explain, 1 GiB", [] {
        return std::map<std::string, double>{{"peak_kib", explain(trace()).peakKib}};
    });
}

} // namespace em::bench
