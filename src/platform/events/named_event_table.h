// The process's named events, found by name. The table owns its copies of the names, not the events.
#pragma once

#include "base/recursive_lock.h"
#include "platform/name_table.h"

namespace em {

struct EventObject;

// Before SetUp and after TearDown the table counts as missing: it finds nothing and takes nothing in. Any
// thread; each call takes the table's own lock.
class NamedEventTable {
public:
    constexpr NamedEventTable() = default;

    void SetUp();
    // Leaves a table that another thread is using right now as it is.
    void TearDown() noexcept;

    // Null when no event has that name.
    [[nodiscard]] EventObject* Find(const char* name);
    // False without memory. A missing table takes nothing in and gives true: the event then stays unlisted.
    [[nodiscard]] bool Insert(const char* name, EventObject* event);
    // Removes the name if it stands for this very event.
    void Remove(const char* name, const EventObject* event);

private:
    using Entry = NameTableEntry<EventObject*>; // the extra word is always 0
    static void freeName(Entry& entry) noexcept { std::free(entry.name); }

    RecursiveLock m_lock;
    std::atomic<bool> m_setUp{false};
    NameTable<EventObject*, freeName> m_table EM_GUARDED_BY(m_lock);
};

} // namespace em
