#include "support/temporary_directory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace em::test {

TemporaryDirectory::TemporaryDirectory() {
    m_path = std::filesystem::temp_directory_path() / "em_test.XXXXXX";
    if (::mkdtemp(m_path.data()) == nullptr) {
        throw std::runtime_error("no temporary directory: " + m_path);
    }
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored; // a left-over file fails no test
    std::filesystem::remove_all(m_path, ignored);
}

std::string TemporaryDirectory::pathOf(std::string_view name) const {
    return m_path + "/" + std::string(name);
}

void TemporaryDirectory::write(std::string_view name, std::string_view content) const {
    std::ofstream file(pathOf(name), std::ios::binary | std::ios::trunc);
    file << content;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + pathOf(name));
    }
}

void TemporaryDirectory::write(std::string_view name, std::string_view content, time_t modified) const {
    write(name, content);
    const std::array<timespec, 2> times{timespec{modified, 0}, timespec{modified, 0}};
    if (::utimensat(AT_FDCWD, pathOf(name).c_str(), times.data(), 0) != 0) {
        throw std::runtime_error("cannot set the time of " + pathOf(name));
    }
}

std::string TemporaryDirectory::read(std::string_view name) const {
    std::ostringstream content;
    content << std::ifstream(pathOf(name), std::ios::binary).rdbuf();
    return content.str();
}

} // namespace em::test
