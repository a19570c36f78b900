#include "support/registry_directory.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/registry/registry.h"

namespace em::test {

RegistryDirectory::RegistryDirectory() : m_path("/tmp/registry-XXXXXX") {
    if (::mkdtemp(m_path.data()) == nullptr) {
        throw std::runtime_error("no directory for the registry");
    }
    load();
}

RegistryDirectory::~RegistryDirectory() {
    std::error_code ignored; // the sandbox's /tmp goes with it
    std::filesystem::remove_all(m_path, ignored);
}

void RegistryDirectory::write(const std::string& name, const std::string& content) const {
    std::ofstream(pathOf(name), std::ios::binary) << content;
}

std::string RegistryDirectory::read(const std::string& name) const {
    std::ifstream file(pathOf(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool RegistryDirectory::has(const std::string& name) const {
    return std::filesystem::exists(pathOf(name));
}

void RegistryDirectory::load() const {
    CRegistry::InitClass(m_path.c_str());
}

} // namespace em::test
