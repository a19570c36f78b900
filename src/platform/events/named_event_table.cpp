#include "platform/events/named_event_table.h"

#include "base/system.h"

namespace em {

void NamedEventTable::SetUp() {
    m_Lock.SetUp();
    m_bSetUp = true;
}

// Missing first: who then finds the lock to be a no-op does not touch the table any more. Not analysed: that
// nobody holds the lock is what the tear-down itself has found.
void NamedEventTable::TearDown() noexcept EM_NO_THREAD_SAFETY_ANALYSIS {
    m_bSetUp = false;
    if (m_Lock.TearDown()) {
        m_Table.clear();
    }
}

EventObject* NamedEventTable::Find(const char* name) {
    const RecursiveLockGuard guard(m_Lock);
    if (!m_bSetUp) {
        return nullptr;
    }
    const Entry* const entry = m_Table.find(name);
    return entry != nullptr ? entry->value : nullptr;
}

bool NamedEventTable::Insert(const char* name, EventObject* event) {
    const RecursiveLockGuard guard(m_Lock);
    if (!m_bSetUp) {
        return true;
    }
    Entry entry{sys::strdup(name), event, 0};
    if (entry.name == nullptr) {
        return false;
    }
    if (m_Table.insert(entry) == nullptr) {
        freeName(entry);
        return false;
    }
    return true;
}

// The name may stand for another event: one that was made while the table was missing is not in it.
void NamedEventTable::Remove(const char* name, const EventObject* event) {
    const RecursiveLockGuard guard(m_Lock);
    if (!m_bSetUp) {
        return;
    }
    Entry* const entry = m_Table.find(name);
    if (entry != nullptr && entry->value == event) {
        m_Table.erase(entry);
    }
}

} // namespace em
