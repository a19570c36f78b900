// The module as a host holds it: loaded from its file, reached through its four exports, the slots of its
// table and the offsets of its fields, and nothing else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "module/envelope.h"
#include "module/scripted_host.h"

namespace module_test {

constexpr uint32_t kCabinet = 7;

// The shared object. Loading it at a trace level sets the environment that it reads then.
class LoadedModule {
public:
    static constexpr uint32_t kLevelFromFiles = 0xFFFFFFFF; // nothing is set in the environment

    explicit LoadedModule(uint32_t traceLevel);
    ~LoadedModule();
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    // The exports.
    [[nodiscard]] bool create(void** object, uint64_t value = 0) const;
    [[nodiscard]] unsigned destroy() const;
    [[nodiscard]] const char* name() const;
    [[nodiscard]] unsigned setupAction(uint32_t code) const;

    void unload();

private:
    template <class Function>
    Function* symbol(const char* name) const {
        return reinterpret_cast<Function*>(find(name));
    }
    void* find(const char* name) const;

    void* m_handle = nullptr;
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
    explicit HostedModule(uint32_t traceLevel = 5);
    ~HostedModule();
    HostedModule(const HostedModule&) = delete;
    HostedModule& operator=(const HostedModule&) = delete;

    // False when EM_Delete did not say 1. Once.
    bool destroy();

    bool start() { return callSlot<bool>(object, 4); }
    unsigned stop() { return callSlot<unsigned>(object, 5); }
    void afterStart() { callSlot<void>(object, 6); }
    void reply(const std::string& command);
    unsigned notify(uint32_t code, uint64_t parameter = 0) {
        return callSlot<unsigned>(object, 13, code, parameter, uint64_t{0});
    }
    // The answered envelope's text, behind "true " or "false ", the handler's result.
    std::string request(const std::string& command) { return requestWhole(withCommand(command)); }
    std::string requestWhole(const std::string& json, int32_t cursor = 0);
    // "DA" of the answer to a status query.
    uint32_t status();

    LoadedModule library;
    ScriptedHost host;
    void* object = nullptr;

private:
    bool m_destroyed = false;
};

} // namespace module_test
