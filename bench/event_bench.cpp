// What the operations of an event cost while the trace is off, beside the calls that they cannot do without.
#include <glib.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <memory>
#include <thread>

#include "bench/comparison.h"
#include "platform/events/event_handle.h"

namespace em::bench {
namespace {

constexpr int kRounds = 101;

// The floors, called like the operations: through a reference, not inlined, and with a result.
class Floor {
public:
    [[gnu::noinline]] bool load() const { return m_state.load(); }
    [[gnu::noinline]] bool lockAndUnlock() {
        ::pthread_mutex_lock(&m_mutex);
        ::pthread_mutex_unlock(&m_mutex);
        return true;
    }
    [[gnu::noinline]] bool lockUnlockYield() {
        ::pthread_mutex_lock(&m_mutex);
        ::pthread_mutex_unlock(&m_mutex);
        ::sched_yield();
        return true;
    }

    // The same by GLib's locks, each with the state that it guards.
    [[gnu::noinline]] bool glibReset() {
        ::g_mutex_lock(&m_glibMutex);
        m_glibState = false;
        ::g_mutex_unlock(&m_glibMutex);
        return true;
    }
    [[gnu::noinline]] bool glibSet() {
        ::g_mutex_lock(&m_glibMutex);
        m_glibState = true;
        ::g_cond_broadcast(&m_glibCondition);
        ::g_mutex_unlock(&m_glibMutex);
        ::sched_yield();
        return true;
    }
    [[gnu::noinline]] bool glibWait() {
        ::g_mutex_lock(&m_glibMutex);
        while (!m_glibState) {
            ::g_cond_wait(&m_glibCondition, &m_glibMutex);
        }
        ::g_mutex_unlock(&m_glibMutex);
        return true;
    }

private:
    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
    std::atomic<bool> m_state{true};
    GMutex m_glibMutex{};
    GCond m_glibCondition{};
    bool m_glibState = true;
};

// A host has many threads, and with a single one the C library leaves the locking out of its mutexes.
class Bystander {
public:
    Bystander()
        : m_thread([this] { benchmark::DoNotOptimize(m_stop.WaitForEvent(EVENT_WAIT_FOREVER, false)); }) {}
    Bystander(const Bystander&) = delete;
    Bystander& operator=(const Bystander&) = delete;
    ~Bystander() {
        m_stop.SetEvent();
        m_thread.join();
    }

private:
    EventHandle m_stop{false, false};
    std::thread m_thread;
};

template <class Ours, class Theirs>
void compareCalls(const std::string& name, int count, Ours ours, Theirs theirs) {
    compare(name, kRounds, [=] {
        struct Sides {
            Bystander bystander;
            EventHandle event{true, true};
            Floor floor;
        };
        const auto sides = std::make_shared<Sides>();
        return Pair{timed(count, [=] { benchmark::DoNotOptimize(ours(sides->event)); }),
                    timed(count, [=] { benchmark::DoNotOptimize(theirs(sides->floor)); })};
    });
}

} // namespace

void addComparisons() {
    const auto check = [](EventHandle& event) { return event.CheckEvent(); };
    const auto reset = [](EventHandle& event) { return event.ResetEvent(); };
    const auto wait = [](EventHandle& event) { return event.WaitForEvent(EVENT_WAIT_FOREVER, true); };
    const auto set = [](EventHandle& event) { return event.SetEvent(); };
    const auto mutex = [](Floor& floor) { return floor.lockAndUnlock(); };
    compareCalls("check / one atomic load", 200'000, check, [](Floor& floor) { return floor.load(); });
    compareCalls("reset / a mutex", 50'000, reset, mutex);
    compareCalls("reset / GLib", 50'000, reset, [](Floor& floor) { return floor.glibReset(); });
    compareCalls("signalled wait / a mutex", 50'000, wait, mutex);
    compareCalls("signalled wait / GLib", 50'000, wait, [](Floor& floor) { return floor.glibWait(); });
    compareCalls("set / a mutex and a yield", 5'000, set,
                 [](Floor& floor) { return floor.lockUnlockYield(); });
    compareCalls("set / GLib and a yield", 5'000, set, [](Floor& floor) { return floor.glibSet(); });
}

} // namespace em::bench
