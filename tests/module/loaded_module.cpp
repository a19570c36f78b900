#include "module/loaded_module.h"

#include <dlfcn.h>

#include <cstdlib>
#include <stdexcept>

namespace em::test {

LoadedModule::LoadedModule(uint32_t traceLevel) : m_handle(nullptr, &::dlclose) {
    if (traceLevel == kLevelFromFiles) {
        ::unsetenv("TM_LOG_DEBUG_LEVEL");
    } else {
        ::setenv("TM_LOG_DEBUG_LEVEL", std::to_string(traceLevel).c_str(), 1);
    }
    m_handle.reset(::dlopen(EM_MODULE_PATH, RTLD_NOW | RTLD_LOCAL));
    if (m_handle == nullptr) {
        throw std::runtime_error(::dlerror());
    }
}

void* LoadedModule::find(const char* name) const {
    void* const address = ::dlsym(m_handle.get(), name);
    if (address == nullptr) {
        throw std::runtime_error(std::string("no export ") + name);
    }
    return address;
}

HostedModule::HostedModule(uint32_t traceLevel) : library(traceLevel) {
    if (!library.create(&object) || object == nullptr) {
        throw std::runtime_error("EM_Create gave no module");
    }
    host.attachTo(object);
    static_cast<void>(callSlot<unsigned>(object, 10, kCabinet));
}

HostedModule::~HostedModule() {
    if (!m_destroyed) {
        static_cast<void>(stop());
        static_cast<void>(destroy());
    }
}

std::string HostedModule::requestWhole(const std::string& json, int32_t cursor) {
    Envelope envelope(json, cursor);
    const bool handled = callSlot<bool>(object, 8, &envelope);
    return (handled ? "true " : "false ") + textOf(envelope);
}

uint32_t HostedModule::status() {
    Envelope envelope(withCommand(R"({"OC":523})"));
    static_cast<void>(callSlot<bool>(object, 8, &envelope));
    return numberOf(commandOf(envelope), "DA", 0xFFFFFFFF);
}

} // namespace em::test
