// What became of the job: the module never looks at a job's exit code, and nobody but the module may collect
// its children. So this process exports a waitpid of its own, which forwards and takes down what passes: the
// dynamic loader looks at the program before the C library. The job sees nothing of it.
// Why: docs/decisions/job-seen-by-waitpid.md
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "host/common/event_fd.h"
#include "host/common/mutex.h"

namespace volad_dev {

struct JobSighting {
    pid_t pid = -1;
    std::string directory;     // of this process when it began to wait: the job was started in it
    double begin = 0;          // on the monotonic clock: when the module began to wait
    double lastLook = 0;       // when it last asked for the job's end
    std::optional<int> status; // as waitpid gave it, at lastLook; nothing: the job was still running then
};

// One at a time; while it lives, the process's waitpid tells it what passes. Any thread.
class JobWatch {
public:
    // May throw std::system_error.
    JobWatch();
    ~JobWatch();
    JobWatch(const JobWatch&) = delete;
    JobWatch& operator=(const JobWatch&) = delete;

    // The next child that the calling thread waits for is the job: the module has asked for the job's last
    // setting just now.
    void expect();
    // It is not, after all: the module says something else.
    void expectNothing();

    // The job that was seen, if one was.
    [[nodiscard]] std::optional<JobSighting> sighting();
    // Readable once there was news since the last sighting().
    [[nodiscard]] int fd() const { return m_news.get(); }

    // Around a waitpid for one child.
    void beforeWait(pid_t pid);
    void afterWait(pid_t pid, pid_t collected, int status);

private:
    Mutex m_mutex;
    std::optional<JobSighting> m_job EM_GUARDED_BY(m_mutex);
    EventFd m_news;
};

} // namespace volad_dev
