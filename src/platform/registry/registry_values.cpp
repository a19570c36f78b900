// The key handle's operations on values.
#include <algorithm>
#include <cstring>

#include "platform/registry/expand.h"
#include "platform/registry/registry.h"
#include "platform/registry/registry_rules.h"
#include "platform/registry/registry_state.h"
#include "trace/trace.h"

namespace em {

// Expanded at the reading, so that a variable counts as it is now.
int32_t CRegistry::Read(const char* name, CRegistryNode* node) {
    if (node == nullptr || name == nullptr) {
        return REG_INVALID;
    }
    RegistryItem item;
    if (!node->CopyValue(name, item)) {
        return REG_NO_VALUE;
    }
    m_valueType = item.type;
    m_buffer = item.type == REG_TYPE_EXPAND && m_expand ? expandReferences(item.data) : std::move(item.data);
    EM_TRACE(4, "CRegistry::GetValue \"%s\" --> len %d\n", name, asInt(m_buffer.size()));
    return REG_SUCCESS;
}

int32_t CRegistry::ReadText(const char* name, CRegistryNode* node) {
    const int32_t result = Read(name, node);
    return result == REG_SUCCESS && !isText(m_valueType) ? int32_t{REG_NO_VALUE} : result;
}

int32_t CRegistry::GetValue(const char* name) {
    return Run(REG_INVALID, [&] { return Read(name, m_node.get()); });
}

int32_t CRegistry::QueryValue(char* buffer, const char* name, uint32_t* size, CRegistryNode* node) {
    return Run(REG_INVALID, [&]() -> int32_t {
        const int32_t result = ReadText(name, node != nullptr ? node : m_node.get());
        if (result != REG_SUCCESS) {
            return result;
        }
        if (size == nullptr) {
            EM_TRACE(1, "CRegistry::QueryValue: ** ERROR **  pdwCount is a NULL pointer\n");
            return REG_TOO_SMALL;
        }
        const auto length = static_cast<uint32_t>(m_buffer.size());
        if (buffer == nullptr) {
            *size = length + 1;
            return REG_SUCCESS;
        }
        // Cut without a terminator where it does not fit: the result tells.
        const bool fits = *size > length;
        std::memcpy(buffer, m_buffer.c_str(), fits ? length + 1 : *size);
        if (!fits) {
            return REG_TOO_SMALL;
        }
        *size = length;
        return REG_SUCCESS;
    });
}

int32_t CRegistry::QueryText(const char* name, std::string& text) {
    return Run(REG_INVALID, [&] {
        const int32_t result = ReadText(name, m_node.get());
        if (result == REG_SUCCESS) {
            text = m_buffer;
        }
        return result;
    });
}

int32_t CRegistry::QueryNumber(const char* name, uint32_t& number) {
    return Run(REG_INVALID, [&]() -> int32_t {
        const int32_t result = Read(name, m_node.get());
        if (result != REG_SUCCESS) {
            return result;
        }
        if (m_valueType != REG_TYPE_DWORD) {
            return REG_NO_VALUE;
        }
        std::memcpy(&number, m_buffer.data(), sizeof number);
        return REG_SUCCESS;
    });
}

unsigned CRegistry::SetValue(const char* name, const void* data, uint32_t size, int32_t type,
                             CRegistryNode* node) {
    const int32_t result = Run(REG_INVALID, [&]() -> int32_t {
        // Before the attempt: also a refused one counts as a change, and a save does no harm.
        MarkChanged();
        EM_TRACE(2, "CRegistry::SetValue \"%s\" %d %d\n", textOr(name, "<null>"), asInt(size), type);
        const std::string_view given(static_cast<const char*>(data), size);
        const void* const entry = Insert(textOr(name), given, type, node != nullptr ? node : m_node.get());
        EM_TRACE(2, "CRegistry::SetValue oEntry = %p\n", entry);
        return entry != nullptr ? REG_SUCCESS : REG_INVALID;
    });
    return result == REG_SUCCESS ? 1 : 0;
}

unsigned CRegistry::SetValue(const char* name, uint32_t number) {
    return SetValue(name, &number, sizeof number, REG_TYPE_DWORD);
}

unsigned CRegistry::SetValue(const char* name, const char* text) {
    const size_t size = std::strlen(textOr(text));
    return SetValue(name, text, static_cast<uint32_t>(std::min<size_t>(size, UINT32_MAX)), REG_TYPE_STRING);
}

const void* CRegistry::Insert(const char* name, std::string_view data, int32_t type, CRegistryNode* node) {
    const char* refusal = nullptr;
    if (node == nullptr) {
        refusal = "no key is open";
    } else if (data.data() == nullptr && !data.empty()) {
        refusal = "the data is missing";
    } else {
        if (isText(type) && data.ends_with('\0')) {
            data.remove_suffix(1);
        }
        refusal = refusalOfValue(name, type, data);
    }
    const void* place = nullptr;
    if (refusal == nullptr) {
        RegistryEntry entry = makeValueEntry(name, type, data);
        place = entry.name != nullptr ? node->SetValue(entry) : nullptr;
        if (place != nullptr) {
            // Again: a save that ran since the first time cleared it, perhaps without having seen this value.
            MarkChanged();
            return place;
        }
        destroyRegistryEntry(entry);
        refusal = "a sub-key has that name, the key was deleted or there is no memory";
    }
    EM_TRACE(1, "CRegistry: ERROR: Value \"%s\" is refused: %s\n", name, refusal);
    m_refusal = refusal;
    return nullptr;
}

int32_t CRegistry::DeleteValue(const char* name) {
    return Run(REG_INVALID, [&]() -> int32_t {
        EM_TRACE(2, "CRegistry::DeleteValue \"%s\"\n", textOr(name, "<null>"));
        MarkChanged();
        if (!m_node || name == nullptr || !m_node->DeleteValue(name)) {
            return REG_INVALID;
        }
        MarkChanged(); // again, as in Insert
        return REG_SUCCESS;
    });
}

} // namespace em
