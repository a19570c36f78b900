// From the insert of a task on one processor to its end on another, beside a ring that does what is required
// of the queue and nothing else; and what refusing a task costs that finds the queue full.
#include <glib.h>
#include <pthread.h>
#include <sched.h>

#include <array>
#include <atomic>
#include <memory>
#include <thread>

#include "bench/comparison.h"
#include "bench/required_event.h"
#include "frame/envelope/sip_json.h"
#include "tasks/task_serializer.h"

namespace em::bench {
namespace {

constexpr int kRounds = 401;
constexpr int kTasks = 500;
constexpr size_t kRoom = 9; // tasks that wait

// Of this processor alone; in real time too, where that is permitted, since a yield would hand the processor
// to whatever else a busy machine does.
void stayOn(size_t processor) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processor, &one);
    require(::pthread_setaffinity_np(::pthread_self(), sizeof one, &one) == 0, "two processors");
    const sched_param lowest{.sched_priority = 1};
    static_cast<void>(::pthread_setschedparam(::pthread_self(), SCHED_FIFO, &lowest));
}

SipJson requestOfSixMembers() {
    SipJson request;
    request.InitEnvelope();
    request.SetCommand(517, 1, 2, 3, 0);
    request.SetUintMember(key::Data, 0x10003);
    return request;
}

class OurQueue : public CTaskSerializer<SipJson> {
public:
    OurQueue() { StartSerialization(); }
    ~OurQueue() override { TerminateSerialization(); }
    void insert(const SipJson& message) { require(InsertTask(message, 0, nullptr), "insert"); }
    [[nodiscard]] int executed() const { return m_executed; }

private:
    void OnTaskHandlerStart() override { stayOn(1); }
    void OnTaskExecution(SipJson& /*message*/, int /*level*/) override { ++m_executed; }

    std::atomic<int> m_executed{0};
};

// Where the inserter wakes the handler and yields.
enum class Wake { UnderTheLock, BehindTheLock };

// What is required: a copy of the message made before the lock; ring, event and yield under the lock; one
// task a pass of the handler, which waits on the event, resets it under the lock when there is no task, and
// after a task looks under the lock whether it was the last. Left out: levels, the recursion of the lock, the
// trace and its tests, tasks that throw, events of the inserter, the end of inserts.
template <Wake kWake>
class RingQueue {
public:
    RingQueue() : m_handler([this] { serve(); }) {}
    RingQueue(const RingQueue&) = delete;
    RingQueue& operator=(const RingQueue&) = delete;
    ~RingQueue() {
        m_terminate = true;
        m_wake.set();
        m_handler.join();
    }

    void insert(const SipJson& message) {
        auto record = std::make_unique<const SipJson>(message);
        m_locks.lock();
        require(m_used < kRoom, "insert");
        m_ring[(m_first + m_used++) % kRoom] = std::move(record);
        if constexpr (kWake == Wake::UnderTheLock) {
            m_wake.set();
        }
        m_locks.unlock();
        if constexpr (kWake == Wake::BehindTheLock) {
            m_wake.set();
        }
    }
    [[nodiscard]] int executed() const { return m_executed; }

private:
    void serve() {
        stayOn(1);
        for (;;) {
            m_wake.wait();
            if (m_terminate) {
                return;
            }
            if (const std::unique_ptr<const SipJson> record = take()) {
                ++m_executed;
            } else {
                continue;
            }
            m_locks.lock();
            benchmark::DoNotOptimize(m_used == 0);
            m_locks.unlock();
        }
    }
    std::unique_ptr<const SipJson> take() {
        std::unique_ptr<const SipJson> record;
        m_locks.lock();
        if (m_used == 0) {
            m_wake.reset();
        } else {
            record = std::move(m_ring[m_first]);
            m_first = (m_first + 1) % kRoom;
            --m_used;
        }
        m_locks.unlock();
        return record;
    }

    PosixLocks m_locks;
    RequiredEvent<> m_wake{true};
    std::array<std::unique_ptr<const SipJson>, kRoom> m_ring;
    size_t m_first = 0;
    size_t m_used = 0;
    std::atomic<int> m_executed{0};
    std::atomic<bool> m_terminate{false};
    std::thread m_handler;
};

// GLib's queue between threads: copies likewise, and wakes its reader by a lock and a condition of its own.
class GlibQueue {
public:
    GlibQueue() : m_handler([this] { serve(); }) {}
    GlibQueue(const GlibQueue&) = delete;
    GlibQueue& operator=(const GlibQueue&) = delete;
    ~GlibQueue() {
        ::g_async_queue_push(m_queue, this); // the end
        m_handler.join();
        ::g_async_queue_unref(m_queue);
    }

    void insert(const SipJson& message) {
        ::g_async_queue_push(m_queue, std::make_unique<SipJson>(message).release());
    }
    [[nodiscard]] int executed() const { return m_executed; }

private:
    void serve() {
        stayOn(1);
        for (void* taken = nullptr; (taken = ::g_async_queue_pop(m_queue)) != this;) {
            ++m_executed;
            delete static_cast<SipJson*>(taken);
        }
    }

    GAsyncQueue* const m_queue = ::g_async_queue_new();
    std::atomic<int> m_executed{0};
    std::thread m_handler;
};

// The mean time of a task, with never more of them under way than the queue takes.
template <class Queue>
Timed tasksThrough() {
    return [queue = std::make_shared<Queue>(), request = requestOfSixMembers()] {
        stayOn(0);
        const Stopwatch watch(CLOCK_MONOTONIC);
        const int before = queue->executed();
        for (int inserted = 0; inserted < kTasks; ++inserted) {
            while (inserted - (queue->executed() - before) >= static_cast<int>(kRoom)) {
                ::sched_yield();
            }
            queue->insert(request);
        }
        while (queue->executed() - before < kTasks) {
            ::sched_yield();
        }
        return watch.seconds() / kTasks;
    };
}

class FullQueue : public CTaskSerializer<SipJson> {
public:
    explicit FullQueue(const SipJson& message) {
        while (InsertTask(message, 0, nullptr)) {
        }
    }
    ~FullQueue() override { TerminateSerialization(); }
    void OnTaskExecution(SipJson& /*message*/, int /*level*/) override {}
};

} // namespace

void addComparisons() {
    compare("task / ring, event, yield and copy", kRounds, [] {
        return Pair{tasksThrough<OurQueue>(), tasksThrough<RingQueue<Wake::UnderTheLock>>()};
    });
    // What this order costs: a handler that is woken, and yielded to, under the lock runs into it.
    compare("task / the ring with its wake-up behind the lock", kRounds, [] {
        return Pair{tasksThrough<OurQueue>(), tasksThrough<RingQueue<Wake::BehindTheLock>>()};
    });
    compare("task / GLib's queue", kRounds, [] {
        return Pair{tasksThrough<OurQueue>(), tasksThrough<GlibQueue>()};
    });
    compare("refused tenth task / one copy", kRounds, [] {
        const SipJson request = requestOfSixMembers();
        return Pair{timed(5000,
                          [request, queue = std::make_shared<FullQueue>(request)] {
                              require(!queue->InsertTask(request, 0, nullptr), "refusal");
                          }),
                    timed(5000, [request] { benchmark::DoNotOptimize(SipJson(request)); })};
    });
}

} // namespace em::bench
