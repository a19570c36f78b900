// A directory of its own for a test's registry: made empty, set up as the store's, removed at the end.
#pragma once

#include <string>

namespace em::test {

class RegistryDirectory {
public:
    RegistryDirectory();
    ~RegistryDirectory();
    RegistryDirectory(const RegistryDirectory&) = delete;
    RegistryDirectory& operator=(const RegistryDirectory&) = delete;

    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] std::string pathOf(const std::string& name) const { return m_path + "/" + name; }
    void write(const std::string& name, const std::string& content) const;
    // Empty when there is no such file.
    [[nodiscard]] std::string read(const std::string& name) const;
    [[nodiscard]] bool has(const std::string& name) const;
    // Drops the tree in memory and reads the files that are there now.
    void load() const;

private:
    std::string m_path;
};

} // namespace em::test
