#include "frame/configuration/module_properties.h"

#include "frame/configuration/installation_roots.h"
#include "platform/registry/registry.h"
#include "trace/trace.h"

namespace em {
namespace {

bool given(const char* text) {
    return text != nullptr && *text != '\0';
}

// The guard comes before the handle, so that the handle ends under the lock.
template <class Query>
unsigned query(const char* module, const char* property, Query&& run) {
    EM_TRACE(3, "\nModuleConfigFile    : GetModuleProperty: \"%s\"", textOr(property, "<null>"));
    if (!given(module) || !given(property)) {
        return 0;
    }
    const RecursiveLockGuard guard(CRegistry::Lock());
    CRegistry key;
    return openProductKey(key, module) && run(key) == REG_SUCCESS ? 1 : 0;
}

} // namespace

unsigned GetModuleProperty(const char* module, const char* property, std::string& value) {
    const unsigned result =
        query(module, property, [&](CRegistry& key) { return key.QueryText(property, value); });
    if (result != 0) {
        EM_TRACE(4, "\n%-20s: Read module property \"%s\" = \"%s\"", module, property, value.c_str());
    }
    return result;
}

unsigned GetModuleProperty(const char* module, uint32_t& value, const char* property) {
    const unsigned result =
        query(module, property, [&](CRegistry& key) { return key.QueryNumber(property, value); });
    if (result != 0) {
        EM_TRACE(4, "\n%-20s: Read module property \"%s\" = %d (0x%02X)", module, property, asInt(value),
                 value);
    }
    return result;
}

unsigned SetModuleProperty(const char* module, const char* property, uint32_t value) {
    EM_TRACE(3, "\nModuleConfigFile    : SetModuleProperty: \"%s\"", textOr(property, "<null>"));
    if (!given(module)) {
        return 0;
    }
    unsigned result = 0;
    // The line below tells of a refused one too, so there is no early return.
    if (given(property)) {
        const RecursiveLockGuard guard(CRegistry::Lock());
        CRegistry key;
        result = openProductKey(key, module, true) ? key.SetValue(property, value) : 0;
    }
    EM_TRACE(4, "\n%-20s: Write module property \"%s\" = %d (%s)", module, textOr(property, "<null>"),
             asInt(value), result != 0 ? "OK" : "FAILED");
    return result;
}

} // namespace em
