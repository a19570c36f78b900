#include "platform/process_state.h"

#include "platform/base/swallow.h"
#include "trace/debug_client.h"

namespace em {
namespace {

constexpr const char* kModuleName = "EM_SHUTDOWN";

[[gnu::constructor]] void onLoad() {
    SetUpProcessState();
}
[[gnu::destructor]] void onUnload() {
    TearDownProcessState();
}

} // namespace

void SetUpProcessState() noexcept {
    static_cast<void>(swallow([] { static_cast<void>(processTrace.value.Configure(kModuleName)); }));
}

void TearDownProcessState() noexcept {
    processTrace.value.TearDown();
}

} // namespace em
