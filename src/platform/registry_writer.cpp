#include "platform/registry_writer.h"

#include <deque>

#include "platform/registry_node.h"
#include "platform/registry_value_text.h"

namespace em {
namespace {

void appendValue(std::string& out, const RegistryEntry& entry, const RegistryValueType& type) {
    out.append(entry.name).append(type.marker);
    switch (type.type) {
    case REG_TYPE_BINARY:
        appendHex(out, dataOf(entry));
        break;
    case REG_TYPE_DWORD:
        appendDecimal(out, entry.value.number);
        break;
    default:
        out.append(entry.value.text);
    }
    out += '\n';
}

// An open key on the writer's own stack.
class Level {
public:
    Level(CRegistryNode& key, std::string& out) EM_NO_THREAD_SAFETY_ANALYSIS
        : m_Guard(key.Lock()),
          m_Entries(key.Table().entries()) {
        for (const RegistryEntry& entry : m_Entries) {
            if (const RegistryValueType* const type = valueTypeOf(entry.extra)) {
                appendValue(out, entry, *type);
            }
        }
    }

    // Null when there is none left.
    const RegistryEntry* NextSubKey() {
        while (m_nNext < m_Entries.size()) {
            const RegistryEntry& entry = m_Entries[m_nNext++];
            if (entry.extra == REG_TYPE_KEY) {
                return &entry;
            }
        }
        return nullptr;
    }

private:
    RecursiveLockGuard m_Guard;
    const std::span<const RegistryEntry> m_Entries;
    size_t m_nNext = 0;
};

} // namespace

std::string writeRegistry(CRegistryNode& root) {
    std::string out;
    std::deque<Level> levels;
    levels.emplace_back(root, out);
    while (!levels.empty()) {
        if (const RegistryEntry* const subKey = levels.back().NextSubKey()) {
            out.append("[").append(subKey->name).append("]\n");
            levels.emplace_back(*subKey->value.key, out);
        } else {
            out += '\n';
            levels.pop_back();
        }
    }
    return out;
}

} // namespace em
