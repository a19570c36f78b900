// What is measured once in the life of a process, as a library's load.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <type_traits>

#include "bench/comparison.h"
#include "host/common/pipe.h"

namespace em::bench {

// Runs the work in a child that is as this process is now, and gives what it returns.
template <class Work>
std::invoke_result_t<Work> inFreshProcess(Work work) {
    using Result = std::invoke_result_t<Work>;
    static_assert(std::is_trivially_copyable_v<Result>);
    const volad_dev::Pipe pipe = volad_dev::makePipe();
    const pid_t pid = ::fork();
    require(pid >= 0, "no child");
    if (pid == 0) {
        int code = 1;
        try {
            const Result result = work();
            code = ::write(pipe.writeEnd.get(), &result, sizeof result) == sizeof result ? 0 : 1;
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "%s\n", failure.what());
        }
        ::_exit(code);
    }
    int status = -1;
    Result result{};
    require(::waitpid(pid, &status, 0) == pid && status == 0 &&
                ::read(pipe.readEnd.get(), &result, sizeof result) == sizeof result,
            "the child failed");
    return result;
}

} // namespace em::bench
