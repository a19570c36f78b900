#include "module/loaded_module.h"

#include <dlfcn.h>

#include <cstdlib>
#include <stdexcept>

namespace module_test {

LoadedModule::LoadedModule(uint32_t traceLevel) {
    if (traceLevel == kLevelFromFiles) {
        ::unsetenv("TM_LOG_DEBUG_LEVEL");
    } else {
        ::setenv("TM_LOG_DEBUG_LEVEL", std::to_string(traceLevel).c_str(), 1);
    }
    m_handle = ::dlopen(EM_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) {
        throw std::runtime_error(::dlerror());
    }
}

LoadedModule::~LoadedModule() {
    unload();
}

void LoadedModule::unload() {
    if (m_handle != nullptr) {
        ::dlclose(m_handle);
        m_handle = nullptr;
    }
}

void* LoadedModule::find(const char* name) const {
    void* const address = ::dlsym(m_handle, name);
    if (address == nullptr) {
        throw std::runtime_error(std::string("no export ") + name);
    }
    return address;
}

bool LoadedModule::create(void** object, uint64_t value) const {
    return symbol<bool(void**, uint64_t)>("EM_Create")(object, value);
}

unsigned LoadedModule::destroy() const {
    return symbol<unsigned()>("EM_Delete")();
}

const char* LoadedModule::name() const {
    return symbol<const char*()>("EM_GetModuleName")();
}

unsigned LoadedModule::setupAction(uint32_t code) const {
    return symbol<unsigned(uint32_t)>("EM_SetupAction")(code);
}

HostedModule::HostedModule(uint32_t traceLevel) : library(traceLevel) {
    if (!library.create(&object) || object == nullptr) {
        throw std::runtime_error("EM_Create gave no module");
    }
    host.expectedModule = object;
    const auto table = reinterpret_cast<uintptr_t>(static_cast<HostObject*>(&host));
    std::memcpy(static_cast<std::byte*>(object) + 8, &table, sizeof table);
    static_cast<void>(callSlot<unsigned>(object, 10, kCabinet));
}

HostedModule::~HostedModule() {
    if (!m_destroyed) {
        static_cast<void>(stop());
        static_cast<void>(destroy());
    }
}

bool HostedModule::destroy() {
    m_destroyed = true;
    return library.destroy() == 1;
}

void HostedModule::reply(const std::string& command) {
    Envelope envelope(withCommand(command));
    callSlot<void>(object, 7, &envelope);
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

} // namespace module_test
