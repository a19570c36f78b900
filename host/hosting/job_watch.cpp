#include "host/hosting/job_watch.h"

#include <sys/resource.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <filesystem>

#include "host/hosting/journal.h"

namespace volad_dev {
namespace {

std::atomic<JobWatch*> watching = nullptr;
thread_local bool jobExpected = false;

} // namespace

JobWatch::JobWatch() {
    watching = this;
}

JobWatch::~JobWatch() {
    watching = nullptr;
}

void JobWatch::expect() {
    jobExpected = true;
}

void JobWatch::expectNothing() {
    jobExpected = false;
}

std::optional<JobSighting> JobWatch::sighting() {
    const MutexLock lock(m_mutex);
    m_news.clear();
    return m_job;
}

void JobWatch::beforeWait(pid_t pid) {
    if (!jobExpected) {
        return;
    }
    jobExpected = false;
    std::error_code unknown;
    const double now = monotonicNow();
    const std::string directory = std::filesystem::current_path(unknown);
    const MutexLock lock(m_mutex);
    m_job = JobSighting{.pid = pid, .directory = directory, .begin = now, .lastLook = now, .status = {}};
    m_news.set();
}

void JobWatch::afterWait(pid_t pid, pid_t collected, int status) {
    const MutexLock lock(m_mutex);
    if (!m_job || m_job->pid != pid || m_job->status) {
        return;
    }
    m_job->lastLook = monotonicNow();
    if (collected == pid) {
        m_job->status = status;
        m_news.set();
    }
}

} // namespace volad_dev

// A cancellation point like the one whose place it takes.
extern "C" [[gnu::visibility("default"), gnu::used]] pid_t waitpid(pid_t pid, int* status, int options) {
    volad_dev::JobWatch* const watch = pid > 0 ? volad_dev::watching.load() : nullptr;
    if (watch != nullptr) {
        watch->beforeWait(pid);
    }
    int given = 0;
    const pid_t collected = wait4(pid, &given, options, nullptr);
    const int error = errno;
    if (watch != nullptr) {
        watch->afterWait(pid, collected, given);
    }
    if (collected > 0 && status != nullptr) {
        *status = given;
    }
    errno = error;
    return collected;
}
