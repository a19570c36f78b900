// The four exports, and the one module instance behind them. The host calls them from one thread, never at
// the same time, and deletes the module before it unloads the library: the module's threads run its code.
#include <algorithm>
#include <array>
#include <cstdint>

#include "base/cancellation_disabled.h"
#include "shutdown/shutdown_module.h"
#include "trace/boundary.h"

namespace {

using em::CIExtensionModule;
using em::kModuleName;

constinit CIExtensionModule* instance = nullptr;

struct SetupAction {
    uint32_t code;
    const char* name;
};

constexpr std::array<SetupAction, 4> kSetupActions{
    {{1, "BACKUP"}, {2, "RESTORE"}, {3, "CONVERT"}, {4, "CLEANUP"}}};

CIExtensionModule* createInstance() {
    if (instance != nullptr) {
        EM_TRACE(1, "\nEM DLL (%-10s) : ## ERROR: Module already existing!\n", kModuleName);
        return instance;
    }
    EM_TRACE(2, "\nEM DLL (%-10s) : Create module", kModuleName);
    // Whatever a constructor throws means that there is no object.
    static_cast<void>(em::swallow([] { instance = new em::CShutdownExtensionModule; }));
    if (instance == nullptr) {
        EM_TRACE(1, "\nEM DLL (%-10s) : ## ERROR: Module could not be created!\n", kModuleName);
    }
    return instance;
}

unsigned deleteInstance() {
    if (instance == nullptr) {
        EM_TRACE(1, "\nEM DLL (%-10s) : Module already destroyed!", kModuleName);
        return 0;
    }
    EM_TRACE_OR_THROW(1, "\nEM DLL (%-10s) : Destroy module...", kModuleName);
    {
        const em::CancellationDisabled whole; // the destructor joins, which must not unwind it half-way
        delete instance;
        instance = nullptr; // before a line that may throw: a kept pointer would dangle
    }
    EM_TRACE_OR_THROW(1, "\nEM DLL (%-10s) : .. Module destroyed successfully!", kModuleName);
    return 1;
}

} // namespace

extern "C" {

[[gnu::visibility("default")]] bool EM_Create(CIExtensionModule** module, uint64_t /*hostValue*/) {
    if (module == nullptr) {
        return false;
    }
    *module = em::atBoundary("EM_Create()", static_cast<CIExtensionModule*>(nullptr), createInstance);
    return *module != nullptr;
}

[[gnu::visibility("default")]] unsigned EM_Delete() {
    unsigned result = 0;
    if (!em::swallow([&] { result = deleteInstance(); })) {
        EM_TRACE(1, "\nEM DLL (%-10s) : ## ERROR! Exception while destroying module!", kModuleName);
        return 0;
    }
    return result;
}

[[gnu::visibility("default")]] const char* EM_GetModuleName() {
    return kModuleName;
}

[[gnu::visibility("default")]] unsigned EM_SetupAction(uint32_t code) {
    em::atBoundary("EM_SetupAction()", [code] {
        const auto* const action =
            std::find_if(kSetupActions.begin(), kSetupActions.end(),
                         [code](const SetupAction& known) { return known.code == code; });
        if (action == kSetupActions.end()) {
            EM_TRACE(
                1,
                "\n\n%-20s: ## ERROR! Setup action call with unknown action type (%d) - no action defined!\n",
                kModuleName, em::asInt(code));
            return;
        }
        EM_TRACE(1, "\n\n%-20s: ## Setup action \"%s\" call - no action function defined\n", kModuleName,
                 action->name);
    });
    return 1;
}

} // extern "C"
