#include "platform/registry/registry_writer.h"

#include <deque>
#include <string>
#include <string_view>

#include "platform/registry/registry_node.h"
#include "platform/registry/registry_value_text.h"

namespace em {
namespace {

constexpr std::string_view kLineEnd = "\n";

void appendNumbers(GrowingText& out, const RegistryEntry& entry, std::string_view marker) {
    std::string digits;
    if (entry.extra == REG_TYPE_BINARY) {
        appendHex(digits, dataOf(entry));
    } else {
        appendDecimal(digits, entry.value.number);
    }
    out.append(std::string_view(entry.name), marker, digits, kLineEnd);
}

// An open key on the writer's own stack. Not analysed: the key's lock is held as long as the level is, which
// is no scope that the analysis can see.
class Level {
public:
    Level(CRegistryNode& key, GrowingText& out) EM_NO_THREAD_SAFETY_ANALYSIS
        : m_guard(key.Lock()),
          m_entries(key.Table().entries()) {
        const RegistryValueType* type = nullptr; // looked up where it changes only
        for (const RegistryEntry& entry : m_entries) {
            if (type == nullptr || type->type != entry.extra) {
                type = valueTypeOf(entry.extra);
            }
            if (type != nullptr && isText(entry.extra)) {
                out.append(std::string_view(entry.name), type->marker, std::string_view(entry.value.text),
                           kLineEnd);
            } else if (type != nullptr) {
                appendNumbers(out, entry, type->marker);
            }
        }
    }

    // Null when there is none left.
    const RegistryEntry* nextSubKey() {
        while (m_next < m_entries.size()) {
            const RegistryEntry& entry = m_entries[m_next++];
            if (entry.extra == REG_TYPE_KEY) {
                return &entry;
            }
        }
        return nullptr;
    }

private:
    RecursiveLockGuard m_guard;
    const std::span<const RegistryEntry> m_entries;
    size_t m_next = 0;
};

} // namespace

GrowingText writeRegistry(CRegistryNode& root) {
    using namespace std::string_view_literals;
    GrowingText out;
    // A deque, since a level is a lock and cannot move.
    std::deque<Level> levels;
    levels.emplace_back(root, out);
    while (!levels.empty()) {
        if (const RegistryEntry* const subKey = levels.back().nextSubKey()) {
            out.append("["sv, std::string_view(subKey->name), "]\n"sv);
            levels.emplace_back(*subKey->value.key, out);
        } else {
            out.append(kLineEnd);
            levels.pop_back();
        }
    }
    return out;
}

} // namespace em
