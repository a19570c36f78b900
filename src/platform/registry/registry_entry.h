// One entry of a registry key: a value or a sub-key. Name and data of a value lie in one block of memory, the
// name first, so that a file of many values loads with one allocation each.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/name_table.h"
#include "platform/registry/registry_names.h"

namespace em {

class CRegistryNode;

struct RegistryBlock {
    uint32_t length;
    [[nodiscard]] unsigned char* bytes() { return reinterpret_cast<unsigned char*>(this + 1); }
    [[nodiscard]] const unsigned char* bytes() const {
        return reinterpret_cast<const unsigned char*>(this + 1);
    }
};

union RegistryData {
    char* text;           // string and expandable string: NUL-terminated
    RegistryBlock* block; // binary
    int32_t number;       // DWORD
    CRegistryNode* key;   // sub-key: the entry's own reference
};

using RegistryEntry = NameTableEntry<RegistryData>; // its extra word is the RegistryType

// Frees the entry's memory. A sub-key is emptied with all that lies below and loses the entry's reference.
void destroyRegistryEntry(RegistryEntry& entry) noexcept;
using RegistryTable = NameTable<RegistryData, destroyRegistryEntry>;

// These copy what they are given. An entry without a name says that there was no memory.
[[nodiscard]] RegistryEntry makeTextEntry(std::string_view name, RegistryType type,
                                          std::string_view text) noexcept;
// A block of that many bytes, not filled yet.
[[nodiscard]] RegistryEntry makeBlockEntry(std::string_view name, uint32_t length) noexcept;
[[nodiscard]] RegistryEntry makeNumberEntry(std::string_view name, int32_t number) noexcept;
// A value of any type; the data is as dataOf() gives it back, of the type's size.
[[nodiscard]] RegistryEntry makeValueEntry(std::string_view name, int32_t type,
                                           std::string_view data) noexcept;
// A new empty key; depth is its level below the root node.
[[nodiscard]] RegistryEntry makeKeyEntry(std::string_view name, uint32_t depth) noexcept;

// A value's data as bytes: the characters of a text, the bytes of a block, the four of a number. Good as long
// as the entry.
[[nodiscard]] std::string_view dataOf(const RegistryEntry& entry);

constexpr bool isText(int32_t type) {
    return type == REG_TYPE_STRING || type == REG_TYPE_EXPAND;
}

} // namespace em
