#include "rig/files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace em::test {
namespace {

void require(bool done, const std::string& what) {
    if (!done) {
        throw std::runtime_error("cannot " + what);
    }
}

} // namespace

void writeFile(const std::string& path, std::string_view content) {
    const std::string fresh = path + ".new";
    std::ofstream(fresh, std::ios::binary) << content;
    require(::chmod(fresh.c_str(), 0755) == 0 && std::rename(fresh.c_str(), path.c_str()) == 0,
            "write " + path);
}

void setModificationTime(const std::string& path, time_t modified) {
    const std::array<timespec, 2> times{timespec{modified, 0}, timespec{modified, 0}};
    require(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0) == 0, "set the time of " + path);
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator(file), {}};
}

TemporaryDirectory::TemporaryDirectory() {
    m_path = std::filesystem::temp_directory_path() / "em_test.XXXXXX";
    require(::mkdtemp(m_path.data()) != nullptr, "make " + m_path);
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
    require((file << content).flush().good(), "write " + pathOf(name));
}

void TemporaryDirectory::write(std::string_view name, std::string_view content, time_t modified) const {
    write(name, content);
    setModificationTime(pathOf(name), modified);
}

} // namespace em::test
