// What it costs to start "/bin/sh -c true" and to ask a command through the shell, beside vfork and popen: in
// a small process, in large ones, and with many descriptors allowed.
#include <sys/resource.h>

#include <cstring>
#include <memory>
#include <string>

#include "bench/paired_rounds.h"
#include "platform/processes/child_process.h"
#include "platform/processes/shell_query.h"

namespace {

using em::bench::comparePaired;

void startOurs(int) {
    const em::ChildProcess child = em::startShell("true", em::ChildSignals::BlockEnding);
    waitpid(child.pid, nullptr, 0);
}

// The least that does it: no care for signals, masks or cancellation, and no descriptor of the child.
void startByVfork(int) {
    const auto limit = static_cast<unsigned>(sysconf(_SC_OPEN_MAX));
    const pid_t pid = vfork();
    if (pid == 0) {
        close_range(3, limit - 1, 0);
        execl("/bin/sh", "sh", "-c", "true", nullptr);
        _exit(1);
    }
    waitpid(pid, nullptr, 0);
}

void askOurs(int) {
    static_cast<void>(em::queryShell("echo Enabled", 30'000, nullptr, nullptr));
}

void askByPopen(int) {
    FILE* const pipe = popen("echo Enabled", "re");
    static_cast<void>(fgetc(pipe));
    pclose(pipe);
}

void measure(const std::string& where) {
    constexpr int kCount = 1;
    print(("start, " + where).c_str(), comparePaired(kCount, startOurs, startByVfork), 1.10);
    print(("query, " + where).c_str(), comparePaired(kCount, askOurs, askByPopen), 1.05);
}

// At most half of what the machine has.
size_t fitting(size_t bytes) {
    const auto pages = static_cast<size_t>(sysconf(_SC_PHYS_PAGES));
    return std::min(bytes, pages * static_cast<size_t>(sysconf(_SC_PAGESIZE)) / 2);
}

} // namespace

int main() {
    measure("small");
    for (const size_t mebibytes : {size_t{50}, size_t{2048}}) {
        const size_t size = fitting(mebibytes << 20);
        const std::unique_ptr<char[]> touched(new char[size]);
        std::memset(touched.get(), 1, size);
        measure(std::to_string(size >> 20) + " MiB touched");
    }
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    measure(std::to_string(limit.rlim_cur) + " descriptors allowed");
    return 0;
}
