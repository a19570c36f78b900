// What the trace's configuration directory holds, and what is read from it.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace em::trace_file {

inline constexpr char kGlobalFile[] = "global_trace.ini";
inline constexpr char kGlobalSection[] = "GlobalDebugSettings";
inline constexpr char kDynamicUpdate[] = "DynamicUpdate";

// In the section with the module's name, of the first file, by name, that has it.
inline constexpr char kFileDebugLevel[] = "FileDebugLevel";
inline constexpr char kTraceFlags[] = "TraceFlags";
inline constexpr char kMemoryTracesFlag[] = "MemoryTracesFlag"; // only when the file is read again

inline constexpr uint32_t kNotConfigured = 0xFFFFFFFF;

// Whether a file of that name is looked at.
inline bool counts(const char* name) {
    return std::strstr(name, ".ini") != nullptr && std::strncmp(name, ".#", 2) != 0;
}

// The decimal value of a variable, which may be null, or the number from the files.
inline uint32_t variableOr(const char* variable, uint32_t fromFile) {
    if (variable != nullptr) {
        return static_cast<uint32_t>(std::strtoul(variable, nullptr, 10));
    }
    return fromFile == kNotConfigured ? 0 : fromFile;
}

} // namespace em::trace_file
