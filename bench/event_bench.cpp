// What the operations of an event cost while the trace is off, against the system calls that they cannot do
// without.
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>

#include "bench/paired_rounds.h"
#include "platform/events/event_handle.h"

namespace {

std::atomic<long> allocations{0};

// The peers, called like the operations: through a reference, not inlined.
struct Peer {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    std::atomic<bool> state{true};

    [[gnu::noinline]] bool load() const { return state.load(); }
    [[gnu::noinline]] void lockAndUnlock() {
        ::pthread_mutex_lock(&mutex);
        ::pthread_mutex_unlock(&mutex);
    }
    [[gnu::noinline]] void lockUnlockYield() {
        lockAndUnlock();
        ::sched_yield();
    }
};

template <class Value>
void keep(const Value& value) {
    asm volatile("" : : "g"(value) : "memory");
}

} // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

int main() {
    using em::bench::comparePaired;
    using em::bench::print;
    constexpr int kLoads = 200'000;
    constexpr int kLocks = 50'000;
    constexpr int kYields = 5'000;

    // A host has many threads, and with a single one the C library leaves the locking out of its mutexes.
    em::EventHandle stop(false, false);
    std::thread bystander([&] { keep(stop.WaitForEvent(em::EVENT_WAIT_FOREVER, false)); });

    em::EventHandle event(true, true);
    Peer peer;
    const long before = allocations;
    print("check to one atomic load",
          comparePaired(
              kLoads, [&](int) { keep(event.CheckEvent()); }, [&](int) { keep(peer.load()); }),
          1.15);
    print("reset to a mutex",
          comparePaired(
              kLocks, [&](int) { keep(event.ResetEvent()); }, [&](int) { peer.lockAndUnlock(); }),
          1.15);
    print("set to a mutex and a yield",
          comparePaired(
              kYields, [&](int) { keep(event.SetEvent()); }, [&](int) { peer.lockUnlockYield(); }),
          1.05);
    print("wait on a signalled event to a mutex",
          comparePaired(
              kLocks, [&](int) { keep(event.WaitForEvent(em::EVENT_WAIT_FOREVER, true)); },
              [&](int) { peer.lockAndUnlock(); }),
          1.15);
    const long allocated = allocations - before;
    stop.SetEvent();
    bystander.join();
    std::printf("allocations: %ld\n", allocated);
    return EXIT_SUCCESS;
}
