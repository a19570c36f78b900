// An empty directory for a test, removed with everything in it at the end.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace em::test {

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
    [[nodiscard]] std::string read(std::string_view name) const;

private:
    std::string m_path;
};

} // namespace em::test
