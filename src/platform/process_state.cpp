#include "platform/process_state.h"

#include <cstdlib>

#include "platform/base/swallow.h"
#include "platform/event_state.h"
#include "trace/debug_client.h"

namespace em {
namespace {

constexpr const char* kModuleName = "EM_SHUTDOWN";

[[gnu::constructor]] void onLoad() {
    SetUpProcessState();
}

} // namespace

void SetUpProcessState() noexcept {
    static_cast<void>(swallow([] { static_cast<void>(processTrace.value.Configure(kModuleName)); }));
    eventState.value.SetUp();
    // From inside a shared object this runs at its unload too. Where it cannot be registered nothing is torn
    // down.
    static_cast<void>(std::atexit(TearDownProcessState));
}

void TearDownProcessState() noexcept {
    // The trace goes first although it came first: nothing may be written from here on.
    processTrace.value.TearDown();
    eventState.value.TearDown();
}

} // namespace em
