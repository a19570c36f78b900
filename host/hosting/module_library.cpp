#include "host/hosting/module_library.h"

#include <dlfcn.h>

#include <atomic>
#include <stdexcept>

namespace volad_dev {
namespace {

void* load(const std::string& path) {
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        throw std::runtime_error(dlerror()); // NOLINT(concurrency-mt-unsafe): per thread in glibc
    }
    return handle;
}

} // namespace

void ModuleLibrary::Closer::operator()(void* handle) const {
    static_cast<void>(dlclose(handle)); // nobody is left to whom a failure would matter
}

template <class Function>
Function ModuleLibrary::entry(const char* name) const {
    void* const symbol = dlsym(m_handle.get(), name);
    if (symbol == nullptr) {
        throw std::runtime_error(std::string("no ") + name + " in the module");
    }
    return reinterpret_cast<Function>(symbol);
}

ModuleLibrary::ModuleLibrary(const std::string& path)
    : m_handle(load(path)),
      m_create(entry<decltype(m_create)>(em::kCreateSymbol)),
      m_delete(entry<decltype(m_delete)>(em::kDeleteSymbol)),
      m_name(entry<decltype(m_name)>(em::kNameSymbol)) {
    static_cast<void>(entry<em::SetupFunction>(em::kSetupSymbol)); // an installer's; it must be there
}

em::CIExtensionModule* ModuleLibrary::create(em::HostObject& host) const {
    em::CIExtensionModule* module = nullptr;
    if (!m_create(&module, 0) || module == nullptr) {
        return nullptr;
    }
    void* const place = reinterpret_cast<char*>(module) + em::kHostPointerOffset;
    std::atomic_ref<em::HostObject*>(*static_cast<em::HostObject**>(place)).store(&host);
    return module;
}

} // namespace volad_dev
