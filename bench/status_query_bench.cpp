// Status queries as a host asks them: by slot, of an object that is not started, in one envelope that is used
// again. Each answer is set where it stands.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "base/virtual_slot.h"
#include "bench/comparison.h"
#include "contract/operation_codes.h"
#include "host/sandbox/sandbox_guard.h"
#include "shutdown/shutdown_module.h"

namespace {

size_t allocations = 0; // of this process, which has one thread

} // namespace

// The C library's own, behind the names that the program's come before.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

void* malloc(size_t size) {
    ++allocations;
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}
void* realloc(void* memory, size_t size) {
    ++allocations;
    return __libc_realloc(memory, size);
}
}

namespace em::bench {
namespace {

constexpr int kRounds = 101;
constexpr int kQueries = 20'000;
constexpr unsigned kHandleRequest = 8;

class Host {
public:
    Host() {
        m_envelope.InitEnvelope();
        m_envelope.SetCommand(opcode::kShutdownStatusQuery, 0, 0, 0, status::kMissing);
        query(); // its data is new
        require(m_envelope.GetUint(key::Status, status::kMissing) == status::kAccepted, "an answer");
    }
    void query() {
        require(callSlot<bool>(static_cast<CIExtensionModule*>(&m_module), kHandleRequest, &m_envelope),
                "handled");
    }

private:
    CShutdownExtensionModule m_module;
    SipJson m_envelope;
};

std::map<std::string, double> askOften() {
    Host host;
    Timed asked = timed(kQueries, [&host] { host.query(); });
    std::vector<double> seconds(kRounds);
    const size_t before = allocations;
    std::ranges::generate(seconds, [&asked] { return asked(); });
    const size_t made = allocations - before;
    std::ranges::nth_element(seconds, seconds.begin() + kRounds / 2);
    return {{"per_second", 1 / seconds[kRounds / 2]}, {"allocations", static_cast<double>(made)}};
}

} // namespace

void addComparisons() {
    volad_dev::assertSandboxInForce(); // the object's executor is the real one
    tell("status query", askOften);
}

} // namespace em::bench
