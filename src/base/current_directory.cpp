#include "base/current_directory.h"

#include <array>

#include "base/system.h"

namespace em {

// A directory that was removed meanwhile has no path; the caller goes on without one.
bool GetCurrentDirectory(std::string& directory) {
    std::array<char, 4096> buffer;
    if (sys::getcwd(buffer.data(), buffer.size()) == nullptr || buffer[0] == '\0') {
        return false;
    }
    directory = buffer.data();
    return true;
}

} // namespace em
