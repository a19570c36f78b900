// What it takes until a set event has woken its waiters and heard of it: one of an auto-reset event, sixteen
// of a manual-reset one. Beside signal and yield under the lock, written by hand, and the same with GLib's
// locks.
#include <glib.h>
#include <sched.h>

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "bench/comparison.h"
#include "bench/required_event.h"
#include "platform/events/event_handle.h"

namespace em::bench {
namespace {

constexpr int kRounds = 51;
constexpr int kWakes = 3200; // of all threads, in a round

class OurEvent {
public:
    explicit OurEvent(bool manualReset) : m_event(false, manualReset) {}
    void set() { require(m_event.SetEvent(), "set"); }
    void reset() { m_event.ResetEvent(); }
    void wait() { require(m_event.WaitForEvent(EVENT_WAIT_FOREVER, false) == EVENT_SIGNALED, "wait"); }

private:
    EventHandle m_event;
};

struct GlibLocks {
    GMutex mutex{};
    GCond condition{};

    void lock() { ::g_mutex_lock(&mutex); }
    void unlock() { ::g_mutex_unlock(&mutex); }
    void wakeAll() { ::g_cond_broadcast(&condition); }
    void wakeOne() { ::g_cond_signal(&condition); }
    void sleep() { ::g_cond_wait(&condition, &mutex); }
};

// Waiters that are woken together; the last of them answers. Two gates take turns, so that nobody passes one
// twice.
template <class Event>
class Waiters {
public:
    Waiters(size_t count, bool manualReset)
        : m_gates{Event(manualReset), Event(manualReset)}, m_missing(count) {
        m_threads.reserve(count);
        for (size_t at = 0; at < count; ++at) {
            m_threads.emplace_back([this] { serve(); });
        }
    }
    Waiters(const Waiters&) = delete;
    Waiters& operator=(const Waiters&) = delete;
    ~Waiters() {
        m_stop = true;
        m_gates[m_next].set();
        for (std::thread& thread : m_threads) {
            thread.join();
        }
    }

    // Returns when all have answered.
    void wake() {
        m_gates[m_next ^ 1U].reset();
        m_gates[m_next].set();
        m_answer.wait();
        m_next ^= 1U;
    }

private:
    void serve() {
        for (size_t gate = 0;; gate ^= 1U) {
            m_gates[gate].wait();
            if (m_stop) {
                return;
            }
            if (--m_missing == 0) {
                m_missing = m_threads.size();
                m_answer.set();
            }
        }
    }

    std::array<Event, 2> m_gates;
    Event m_answer{false};
    std::atomic<size_t> m_missing;
    std::atomic<bool> m_stop{false};
    size_t m_next = 0;
    std::vector<std::thread> m_threads;
};

template <class Event>
Timed wakes(size_t waiters) {
    auto woken = std::make_shared<Waiters<Event>>(waiters, waiters > 1);
    return timed(
        static_cast<int>(kWakes / waiters), [woken] { woken->wake(); }, CLOCK_PROCESS_CPUTIME_ID);
}

void compareWakes(const std::string& name, size_t waiters) {
    compare(name + " / signal and yield under the lock", kRounds, [waiters] {
        return Pair{wakes<OurEvent>(waiters), wakes<RequiredEvent<>>(waiters)};
    });
    compare(name + " / the same with GLib", kRounds, [waiters] {
        return Pair{wakes<OurEvent>(waiters), wakes<RequiredEvent<GlibLocks>>(waiters)};
    });
}

// All on one processor, of whose time all threads' counts: where the scheduler puts a woken thread makes more
// of a difference than what is compared.
void stayOnThisProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<size_t>(::sched_getcpu()), &one);
    require(::sched_setaffinity(0, sizeof one, &one) == 0, "sched_setaffinity");
}

} // namespace

void addComparisons() {
    stayOnThisProcessor();
    compareWakes("wake of one", 1);
    compareWakes("wake of 16", 16);
}

} // namespace em::bench
