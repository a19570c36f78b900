// The module that a script drives: loaded by its first word, and taken down in good order whatever happens.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "contract/host_interface.h"
#include "contract/module_interface.h"
#include "host/hosting/module_library.h"
#include "host/hosting/settings.h"

namespace volad_dev {

// One thread. Between create() and destroy() there is a module; what else calls its slots is a fault of the
// caller's outside of that.
class DrivenModule {
public:
    // traceLevel: of the module's trace.
    DrivenModule(std::string path, unsigned traceLevel, em::HostObject& host)
        : m_path(std::move(path)), m_traceLevel(traceLevel), m_host(host) {}
    ~DrivenModule() { takeDown(); }
    DrivenModule(const DrivenModule&) = delete;
    DrivenModule& operator=(const DrivenModule&) = delete;

    // Loads the library where that was not done, with the settings that a module reads by itself, and tells
    // the cabinet of the settings when it is not 0. On a module that is there it is one call of EM_Create
    // more. Throws std::runtime_error.
    void create(const Settings& settings);
    // The result of EM_Delete; the library is unloaded.
    bool destroy();
    // Stop where that was not called since Start, and destroy(). False when nothing was left to do.
    bool takeDown();

    bool start(); // the result of slot 4
    void setCabinet(uint32_t number);
    unsigned stop(); // the result of slot 5
    [[nodiscard]] bool exists() const { return m_module != nullptr; }
    [[nodiscard]] uint32_t cabinet() const { return m_cabinet; } // as it was told last
    [[nodiscard]] em::CIExtensionModule& slots() const { return *m_module; }
    [[nodiscard]] std::string name() const { return m_library->name(); }

private:
    void load(const Settings& settings);

    const std::string m_path;
    const unsigned m_traceLevel;
    em::HostObject& m_host;
    std::optional<ModuleLibrary> m_library;
    em::CIExtensionModule* m_module = nullptr;
    bool m_started = false;
    bool m_propertySet = false; // by an earlier create(), in the registry of the sandbox
    uint32_t m_cabinet = 0;
};

} // namespace volad_dev
