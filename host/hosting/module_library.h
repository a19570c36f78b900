// The loaded module: a handle of the dynamic loader and the four entry points. Only inside the sandbox.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "contract/host_interface.h"
#include "contract/module_interface.h"

namespace volad_dev {

class ModuleLibrary {
public:
    // Throws std::runtime_error with the loader's text when it cannot be loaded or lacks an entry point.
    explicit ModuleLibrary(const std::string& path);

    // EM_Create, with the host's pointer put where the module looks for it. Null when nothing was created.
    [[nodiscard]] em::CIExtensionModule* create(em::HostObject& host) const;
    // EM_Delete. Must come before the library goes: its threads run its code.
    [[nodiscard]] bool destroy() const { return m_delete() == 1; }
    [[nodiscard]] const char* name() const { return m_name(); }

private:
    struct Closer {
        void operator()(void* handle) const;
    };
    template <class Function>
    Function entry(const char* name) const;

    std::unique_ptr<void, Closer> m_handle;
    em::CreateFunction m_create;
    em::DeleteFunction m_delete;
    em::NameFunction m_name;
};

} // namespace volad_dev
