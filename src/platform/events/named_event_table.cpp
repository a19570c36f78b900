#include "platform/events/named_event_table.h"

#include "base/system.h"

namespace em {

void NamedEventTable::SetUp() {
    m_lock.SetUp();
    m_setUp = true;
}

// Missing first: who then finds the lock to be a no-op does not touch the table any more. Not analysed: that
// nobody holds the lock is what the tear-down itself has found.
void NamedEventTable::TearDown() noexcept EM_NO_THREAD_SAFETY_ANALYSIS {
    m_setUp = false;
    if (m_lock.TearDown()) {
        m_table.clear();
    }
}

EventObject* NamedEventTable::Find(const char* name) {
    const RecursiveLockGuard guard(m_lock);
    if (!m_setUp) {
        return nullptr;
    }
    const Entry* const entry = m_table.find(name);
    return entry != nullptr ? entry->value : nullptr;
}

bool NamedEventTable::Insert(const char* name, EventObject* event) {
    const RecursiveLockGuard guard(m_lock);
    if (!m_setUp) {
        return true;
    }
    Entry entry{sys::strdup(name), event, 0};
    if (entry.name == nullptr) {
        return false;
    }
    if (m_table.insert(entry) == nullptr) {
        freeName(entry);
        return false;
    }
    return true;
}

// The name may stand for another event: one that was made while the table was missing is not in it.
void NamedEventTable::Remove(const char* name, const EventObject* event) {
    const RecursiveLockGuard guard(m_lock);
    if (!m_setUp) {
        return;
    }
    Entry* const entry = m_table.find(name);
    if (entry != nullptr && entry->value == event) {
        m_table.erase(entry);
    }
}

} // namespace em
