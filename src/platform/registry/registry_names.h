// The registry's words and numbers: value types with their markers in the file, predefined roots, results,
// file names and limits. Everything that reads, writes, checks or documents a registry walks these tables.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace em {

enum RegistryType : int32_t {
    REG_TYPE_STRING = 1,
    REG_TYPE_EXPAND = 2, // %NAME% references are expanded when it is read
    REG_TYPE_BINARY = 3,
    REG_TYPE_DWORD = 4,
    REG_TYPE_KEY = 666,
};

struct RegistryValueType {
    RegistryType type;
    std::string_view marker; // between name and data in the file
    std::string_view name;   // for people
};
constexpr std::array<RegistryValueType, 4> kRegistryValueTypes{{
    {REG_TYPE_STRING, "=s=", "string"},
    {REG_TYPE_EXPAND, "=es=", "expand"},
    {REG_TYPE_BINARY, "=b=", "binary"},
    {REG_TYPE_DWORD, "=d=", "dword"},
}};

// What the operations of a key handle return and keep: 0, -1 or an error number.
enum RegistryResult : int32_t {
    REG_SUCCESS = 0,
    REG_NO_KEY = -1,    // key not found or not openable
    REG_INVALID = 22,   // invalid argument or no such entry
    REG_TOO_SMALL = 34, // buffer too small
    REG_NO_VALUE = 61,  // value missing or of another type
};

// Where work on the files failed, for a line, and the error number. Without a step nothing failed.
struct RegistryFailure {
    const char* failedAt = nullptr;
    int error = 0;
};

enum class PredefinedRoot : size_t { LocalMachine, CurrentUser, Users, ClassesRoot, CurrentConfig };
constexpr std::array<const char*, 5> kPredefinedRoots{"HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER", "HKEY_USERS",
                                                      "HKEY_CLASSES_ROOT", "HKEY_CURRENT_CONFIG"};

// In the store's directory.
constexpr const char* kRegistryMain = "registry";
constexpr const char* kRegistryBackup = "registry.old";
constexpr const char* kRegistryTemporary = "registry.new";
constexpr const char* kRegistryDefault = "registry.default";
constexpr const char* kRegistryLock = "registry.lock";

constexpr uint32_t kRegistryDepth = 512;                          // levels of keys below the root node
constexpr size_t kRegistryLargestFile = size_t{64} * 1024 * 1024; // bytes that are read
// Characters of a line without its newline: a reader with a buffer of 1,024 bytes takes it whole, newline and
// terminator included. Binds what is set, not what is read.
constexpr size_t kRegistryLongestLine = 1022;

} // namespace em
