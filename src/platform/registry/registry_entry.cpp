#include "platform/registry/registry_entry.h"

#include <cstring>
#include <new>

#include "base/system.h"
#include "platform/registry/registry_node.h"

namespace em {
namespace {

// The name and, from the next multiple of 4 on, room for the data.
// One block an entry: a tree of a hundred thousand values makes as many allocations, not twice as many.
char* allocate(std::string_view name, size_t dataSize, size_t& dataAt) {
    dataAt = (name.size() + 1 + 3) & ~size_t{3};
    auto* const memory = static_cast<char*>(sys::malloc(dataAt + dataSize));
    if (memory != nullptr) {
        std::memcpy(memory, name.data(), name.size());
        memory[name.size()] = '\0';
    }
    return memory;
}

} // namespace

void destroyRegistryEntry(RegistryEntry& entry) noexcept {
    if (entry.extra == REG_TYPE_KEY) {
        dismantleRegistryKey(entry.name, *entry.value.key, Dismantle::Deleted);
        entry.value.key->Release();
    }
    std::free(entry.name);
}

RegistryEntry makeTextEntry(std::string_view name, RegistryType type, std::string_view text) noexcept {
    size_t at = 0;
    RegistryEntry entry{allocate(name, text.size() + 1, at), {}, type};
    if (entry.name != nullptr) {
        entry.value.text = entry.name + at;
        text.copy(entry.value.text, text.size());
        entry.value.text[text.size()] = '\0';
    }
    return entry;
}

RegistryEntry makeBlockEntry(std::string_view name, uint32_t length) noexcept {
    size_t at = 0;
    RegistryEntry entry{allocate(name, sizeof(RegistryBlock) + length, at), {}, REG_TYPE_BINARY};
    if (entry.name != nullptr) {
        entry.value.block = new (entry.name + at) RegistryBlock{length};
    }
    return entry;
}

RegistryEntry makeNumberEntry(std::string_view name, int32_t number) noexcept {
    size_t at = 0;
    RegistryEntry entry{allocate(name, 0, at), {}, REG_TYPE_DWORD};
    entry.value.number = number;
    return entry;
}

RegistryEntry makeValueEntry(std::string_view name, int32_t type, std::string_view data) noexcept {
    RegistryEntry entry{};
    switch (type) {
    case REG_TYPE_BINARY:
        entry = makeBlockEntry(name, static_cast<uint32_t>(data.size()));
        if (entry.name != nullptr && !data.empty()) {
            std::memcpy(entry.value.block->bytes(), data.data(), data.size());
        }
        return entry;
    case REG_TYPE_DWORD: {
        int32_t number = 0;
        data.copy(reinterpret_cast<char*>(&number), sizeof number);
        return makeNumberEntry(name, number);
    }
    default:
        return makeTextEntry(name, static_cast<RegistryType>(type), data);
    }
}

// The caller's first reference is the entry's own.
RegistryEntry makeKeyEntry(std::string_view name, uint32_t depth) noexcept {
    size_t at = 0;
    RegistryEntry entry{allocate(name, 0, at), {}, REG_TYPE_KEY};
    if (entry.name != nullptr) {
        entry.value.key = new (std::nothrow) CRegistryNode(depth);
        if (entry.value.key == nullptr) {
            std::free(entry.name);
            entry.name = nullptr;
        }
    }
    return entry;
}

std::string_view dataOf(const RegistryEntry& entry) {
    switch (entry.extra) {
    case REG_TYPE_STRING:
    case REG_TYPE_EXPAND:
        return entry.value.text;
    case REG_TYPE_BINARY:
        return {reinterpret_cast<const char*>(entry.value.block->bytes()), entry.value.block->length};
    case REG_TYPE_DWORD:
        return {reinterpret_cast<const char*>(&entry.value.number), sizeof entry.value.number};
    default:
        return {};
    }
}

} // namespace em
