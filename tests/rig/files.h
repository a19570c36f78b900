// Files that a test lays out.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace em::test {

// Appears whole under its name, executable: another process may be reading at any moment.
void writeFile(const std::string& path, std::string_view content);
// Seconds since the epoch.
void setModificationTime(const std::string& path, time_t modified);
// Empty when there is no such file.
std::string readFile(const std::string& path);

// An empty directory for a test, removed with everything in it at the end.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] std::string pathOf(std::string_view name) const;

    // Writes the file anew; with a time, that becomes its modification time in seconds.
    void write(std::string_view name, std::string_view content) const;
    void write(std::string_view name, std::string_view content, time_t modified) const;
    // Another process may execute it.
    void writeScript(std::string_view name, std::string_view content) const {
        writeFile(pathOf(name), content);
    }
    [[nodiscard]] std::string read(std::string_view name) const { return readFile(pathOf(name)); }

private:
    std::string m_path;
};

} // namespace em::test
