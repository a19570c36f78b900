#include "platform/process_state.h"

#include "base/swallow.h"
#include "platform/events/event_state.h"
#include "platform/registry/registry_state.h"
#include "trace/debug_client.h"

namespace em {
namespace {

[[gnu::constructor]] void onLoad() {
    SetUpProcessState();
}

struct TearDownAtEnd {
    ~TearDownAtEnd() { TearDownProcessState(); }
};

} // namespace

void SetUpProcessState() noexcept {
    static_cast<void>(swallow([] {
        CDebugClient& trace = processTrace.value;
        static_cast<void>(trace.Configure(trace.ModuleName()));
    }));
    eventState.value.SetUp();
    registryState.value.SetUp();
    // Registered now, it runs at the library's unload or, at the process's exit, before what the host built
    // earlier goes. Where it cannot be registered nothing is torn down.
    static const TearDownAtEnd atEnd;
}

void TearDownProcessState() noexcept {
    // The trace goes first although it came first: nothing may be written from here on.
    processTrace.value.TearDown();
    registryState.value.TearDown();
    eventState.value.TearDown();
}

} // namespace em
