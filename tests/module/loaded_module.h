// The module as a host holds it: loaded from its file, reached through its four exports, the slots of its
// table and the offsets of its fields, and nothing else.
#pragma once

#include <dlfcn.h>

#include <cstdlib>
#include <memory>

#include "rig/scripted_host.h"

namespace em::test {

constexpr uint32_t kCabinet = 7;

// The shared object. Loading it at a trace level sets the environment that it reads then.
class LoadedModule {
public:
    static constexpr uint32_t kLevelFromFiles = 0xFFFFFFFF; // nothing is set in the environment

    explicit LoadedModule(uint32_t traceLevel) : m_handle(nullptr, &::dlclose) {
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

    [[nodiscard]] bool create(void** object, uint64_t value = 0) const {
        return symbol<bool(void**, uint64_t)>("EM_Create")(object, value);
    }
    [[nodiscard]] unsigned destroy() const { return symbol<unsigned()>("EM_Delete")(); }
    [[nodiscard]] const char* name() const { return symbol<const char*()>("EM_GetModuleName")(); }
    [[nodiscard]] unsigned setupAction(uint32_t code) const {
        return symbol<unsigned(uint32_t)>("EM_SetupAction")(code);
    }

private:
    template <class Function>
    Function* symbol(const char* name) const {
        return reinterpret_cast<Function*>(find(name));
    }
    void* find(const char* name) const {
        void* const address = ::dlsym(m_handle.get(), name);
        if (address == nullptr) {
            throw std::runtime_error(std::string("no export ") + name);
        }
        return address;
    }

    std::unique_ptr<void, int (*)(void*)> m_handle;
};

template <class Result, class... Arguments>
Result callSlot(void* object, size_t slot, Arguments... arguments) {
    void** const table = *static_cast<void***>(object);
    return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

template <class Field>
Field fieldAt(const void* object, size_t offset) {
    Field value;
    std::memcpy(&value, static_cast<const std::byte*>(object) + offset, sizeof value);
    return value;
}

// A created module with its host, as most tests want it; deleted at the end.
class HostedModule {
public:
    explicit HostedModule(uint32_t traceLevel = 5) : library(traceLevel) {
        if (!library.create(&object) || object == nullptr) {
            throw std::runtime_error("EM_Create gave no module");
        }
        host.attachTo(object);
        static_cast<void>(callSlot<unsigned>(object, 10, kCabinet));
    }
    ~HostedModule() {
        if (!m_destroyed) {
            static_cast<void>(stop());
            static_cast<void>(destroy());
        }
    }

    // False when EM_Delete did not say 1. Once.
    bool destroy() {
        m_destroyed = true;
        return library.destroy() == 1;
    }

    bool start() { return callSlot<bool>(object, 4); }
    unsigned stop() { return callSlot<unsigned>(object, 5); }
    void afterStart() { callSlot<void>(object, 6); }
    void reply(const std::string& command) {
        Envelope envelope(withCommand(command));
        callSlot<void>(object, 7, &envelope);
    }
    unsigned notify(uint32_t code, uint64_t parameter = 0) {
        return callSlot<unsigned>(object, 13, code, parameter, uint64_t{0});
    }
    // The answered envelope's text, behind "true " or "false ", the handler's result.
    std::string request(const std::string& command) { return requestWhole(withCommand(command)); }
    std::string requestWhole(const std::string& json, int32_t cursor = 0) {
        Envelope envelope(json, cursor);
        const bool handled = callSlot<bool>(object, 8, &envelope);
        return (handled ? "true " : "false ") + textOf(envelope);
    }
    // "DA" of the answer to a status query.
    uint32_t status() {
        Envelope envelope(withCommand(R"({"OC":523})"));
        static_cast<void>(callSlot<bool>(object, 8, &envelope));
        return numberOf(commandOf(envelope), "DA", 0xFFFFFFFF);
    }

    LoadedModule library;
    ScriptedHost host;
    void* object = nullptr;

private:
    bool m_destroyed = false;
};

} // namespace em::test
