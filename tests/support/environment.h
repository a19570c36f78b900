// The process's environment, for tests that change it while no other thread reads it.
#pragma once

#include <cstdlib>
#include <string>

namespace em::test {

inline void setEnvironment(const char* name, const std::string& value) {
    ::setenv(name, value.c_str(), 1);
}
inline void unsetEnvironment(const char* name) {
    ::unsetenv(name);
}

} // namespace em::test
