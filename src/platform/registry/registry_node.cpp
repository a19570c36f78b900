#include "platform/registry/registry_node.h"

#include <array>

#include "base/cancellation_disabled.h"
#include "trace/trace.h"

namespace em {

RegistryKeyRef::RegistryKeyRef(CRegistryNode* node) : m_node(node) {
    if (m_node != nullptr) {
        m_node->AddReference();
    }
}

RegistryKeyRef::~RegistryKeyRef() {
    if (m_node != nullptr) {
        m_node->Release();
    }
}

CRegistryNode::CRegistryNode(uint32_t depth) : m_depth(depth) {
    m_lock.SetUp();
}

void CRegistryNode::Release() noexcept {
    // Whoever deletes must see what the others did with the key before they let it go.
    if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete this;
    }
}

// The reference is taken under this key's lock: a delete on another thread has not come yet or has unlinked
// it.
RegistryKeyRef CRegistryNode::SubKey(const char* name) {
    const RecursiveLockGuard guard(m_lock);
    const RegistryEntry* const entry = m_table.find(name);
    return RegistryKeyRef(entry != nullptr && entry->extra == REG_TYPE_KEY ? entry->value.key : nullptr);
}

RegistryKeyRef CRegistryNode::CreateSubKey(const char* name, bool& created) {
    const RecursiveLockGuard guard(m_lock);
    if (RegistryKeyRef existing = SubKey(name)) {
        return existing;
    }
    if (m_deleted || m_depth >= kRegistryDepth || m_table.find(name) != nullptr) {
        return {};
    }
    RegistryEntry entry = makeKeyEntry(name, m_depth + 1);
    if (entry.name == nullptr) {
        return {};
    }
    if (m_table.insert(entry) == nullptr) {
        destroyRegistryEntry(entry);
        return {};
    }
    created = true;
    return RegistryKeyRef(entry.value.key);
}

bool CRegistryNode::CopyValue(const char* name, RegistryItem& item) {
    const RecursiveLockGuard guard(m_lock);
    const RegistryEntry* const entry = m_table.find(name);
    if (entry == nullptr || entry->extra == REG_TYPE_KEY) {
        return false;
    }
    item.type = entry->extra;
    item.data = dataOf(*entry);
    return true;
}

const void* CRegistryNode::SetValue(const RegistryEntry& entry) {
    const RecursiveLockGuard guard(m_lock);
    const RegistryEntry* const existing = m_table.find(entry.name);
    if (m_deleted || (existing != nullptr && existing->extra == REG_TYPE_KEY)) {
        return nullptr;
    }
    return m_table.insert(entry);
}

bool CRegistryNode::DeleteValue(const char* name) {
    const RecursiveLockGuard guard(m_lock);
    RegistryEntry* const entry = m_table.find(name);
    if (entry == nullptr || entry->extra == REG_TYPE_KEY) {
        return false;
    }
    m_table.erase(entry);
    return true;
}

// Unlinked under the lock, destroyed behind it: that writes a line for each key below.
bool CRegistryNode::DeleteSubKey(const char* name) {
    RegistryEntry unlinked{};
    {
        const RecursiveLockGuard guard(m_lock);
        RegistryEntry* const entry = m_table.find(name);
        if (entry == nullptr || entry->extra != REG_TYPE_KEY) {
            return false;
        }
        unlinked = m_table.release(entry);
    }
    destroyRegistryEntry(unlinked);
    return true;
}

// Entry by entry: readers meanwhile see a tree that is partly new, never one that is torn.
bool CRegistryNode::Adopt(CRegistryNode& read) {
    for (RegistryEntry& entry : read.UnsharedTable().entries()) {
        RegistryEntry replaced{};
        {
            const RecursiveLockGuard guard(m_lock);
            if (RegistryEntry* const existing = m_table.find(entry.name)) {
                replaced = std::exchange(*existing, entry);
            } else if (m_table.insert(entry) == nullptr) {
                return false;
            }
        }
        entry = {}; // no longer the read tree's
        // Behind the lock: emptying a whole sub-key writes lines.
        destroyRegistryEntry(replaced);
    }
    return true;
}

// One entry at a time, so that readers get their turn and no lock is held over the lines.
void CRegistryNode::Clear() {
    for (;;) {
        RegistryEntry last{};
        {
            const RecursiveLockGuard guard(m_lock);
            if (m_table.count() == 0) {
                m_table.clear();
                return;
            }
            last = m_table.release(&m_table.entries().back());
        }
        destroyRegistryEntry(last);
    }
}

std::vector<RegistryItem> CRegistryNode::Items() {
    const RecursiveLockGuard guard(m_lock);
    std::vector<RegistryItem> items;
    items.reserve(m_table.count());
    for (const RegistryEntry& entry : m_table.entries()) {
        items.push_back({entry.name, entry.extra, std::string(dataOf(entry))});
    }
    return items;
}

bool CRegistryNode::TakeLastSubKey(RegistryEntry& subKey) noexcept {
    const RecursiveLockGuard guard(m_lock);
    m_deleted = true;
    while (m_table.count() > 0) {
        RegistryEntry* const last = &m_table.entries().back();
        if (last->extra == REG_TYPE_KEY) {
            subKey = m_table.release(last);
            return true;
        }
        m_table.erase(last);
    }
    m_table.clear();
    return false;
}

void dismantleRegistryKey(const char* name, CRegistryNode& key, Dismantle why) noexcept {
    struct Level {
        const char* name;
        CRegistryNode* key;
    };
    // A line must not let an unwinding through while a sub-key is in nobody's hands.
    const CancellationDisabled whole;
    const auto mayEmpty = [why](CRegistryNode& node) {
        return why == Dismantle::Deleted || node.Lock().TearDown();
    };
    // On the stack and of fixed size: nothing here may fail for want of memory.
    std::array<Level, kRegistryDepth + 1> levels;
    size_t depth = 0;
    if (mayEmpty(key)) {
        levels[depth++] = {name, &key};
    }
    while (depth > 0) {
        const Level level = levels[depth - 1];
        RegistryEntry subKey{};
        if (level.key->TakeLastSubKey(subKey)) {
            if (mayEmpty(*subKey.value.key)) {
                levels[depth++] = {subKey.name, subKey.value.key};
            }
            continue;
        }
        if (why == Dismantle::Deleted) {
            EM_TRACE(2, "CRegistryNode::deleteNode \"%s\"\n", level.name);
        }
        if (--depth > 0) {
            level.key->Release();
            std::free(const_cast<char*>(level.name)); // the entry's, taken out above
        }
    }
}

} // namespace em
