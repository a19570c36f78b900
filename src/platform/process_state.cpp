// The process-wide objects of the library, set up in a fixed order when it is loaded and torn down in reverse
// when it is unloaded or the process exits. No other object of ours is built at load.
#include "base/swallow.h"
#include "platform/events/event_state.h"
#include "platform/registry/registry_state.h"
#include "trace/debug_client.h"

namespace em {
namespace {

// Writes no line, starts no thread, lets no exception out.
void setUp() noexcept {
    static_cast<void>(swallow([] {
        CDebugClient& trace = processTrace.value;
        static_cast<void>(trace.Configure(trace.ModuleName()));
    }));
    eventState.value.setUp();
    registryState.value.setUp();
}

// Joins nothing and writes nothing, since it runs under the loader's lock. The trace goes first although it
// came first: nothing may be written from here on.
void tearDown() noexcept {
    processTrace.value.TearDown();
    registryState.value.tearDown();
    eventState.value.tearDown();
}

[[gnu::constructor]] void onLoad() {
    setUp();
    // Registered now, it runs at the library's unload or, at the process's exit, before what the host built
    // earlier goes. Where it cannot be registered nothing is torn down.
    static const struct AtEnd {
        ~AtEnd() { tearDown(); }
    } atEnd;
}

} // namespace
} // namespace em
