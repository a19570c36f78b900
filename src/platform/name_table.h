// An array of entries (name, value, extra word) kept sorted by name: few allocations, binary search, look-ups
// that allocate nothing. The table owns its entries and has no lock: its user locks.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>

#include "base/system.h"

namespace em {

// Byte-wise. A null name sorts after every other; two null names are equal.
inline int compareNames(const char* left, const char* right) {
    if (left == nullptr || right == nullptr) {
        return int{left == nullptr} - int{right == nullptr};
    }
    return std::strcmp(left, right);
}

// What a full table grows to: by 16 while it is small; by a half later on, so that n insertions move
// O(n) entries. Always a multiple of 16.
constexpr uint64_t nextNameTableCapacity(uint64_t capacity) {
    constexpr uint64_t step = 16;
    constexpr uint64_t smallUpTo = 256;
    return capacity < smallUpTo ? capacity + step : capacity + (capacity / 2 + step - 1) / step * step;
}

template <class Value>
struct NameTableEntry {
    char* name; // null or NUL-terminated; never changed while the entry is in a table
    Value value;
    int32_t extra;
};

// Destroy is a `void (*)(NameTableEntry<Value>&) noexcept`: it frees what an entry holds, its name included,
// when the entry is replaced, erased or dropped with the table.
template <class Value, auto Destroy>
class NameTable {
public:
    using Entry = NameTableEntry<Value>;
    static_assert(std::is_trivially_copyable_v<Entry>, "entries are moved as bytes");
    static_assert(noexcept(Destroy(std::declval<Entry&>())));

    constexpr NameTable() = default;
    ~NameTable() { clear(); }
    NameTable(const NameTable&) = delete;
    NameTable& operator=(const NameTable&) = delete;

    [[nodiscard]] uint32_t count() const { return m_count; }
    [[nodiscard]] uint32_t capacity() const { return m_capacity; } // never shrinks but in clear()
    [[nodiscard]] std::span<Entry> entries() { return {m_entries, m_count}; }
    [[nodiscard]] std::span<const Entry> entries() const { return {m_entries, m_count}; }

    // Null when there is no such name. Pointers to entries are good until the next change of the table.
    [[nodiscard]] Entry* find(const char* name) {
        Entry* const place = placeOf(name);
        return holds(place, name) ? place : nullptr;
    }
    [[nodiscard]] const Entry* find(const char* name) const {
        return const_cast<NameTable*>(this)->find(name); // changes nothing
    }

    // Takes the entry over and puts it in its place; an entry of the same name is destroyed. Returns the
    // place, or null without memory: the entry then stays the caller's.
    [[nodiscard]] Entry* insert(const Entry& entry) noexcept {
        Entry* place = placeOf(entry.name);
        if (holds(place, entry.name)) {
            Destroy(*place);
            *place = entry;
            return place;
        }
        const auto index = place - m_entries;
        if (!makeRoom()) {
            return nullptr;
        }
        place = m_entries + index;
        std::copy_backward(place, end(), end() + 1);
        *place = entry;
        ++m_count;
        return place;
    }

    // For loading: takes the entry over and puts it last, without a search. False without memory: the entry
    // then stays the caller's. After the last append, and before any other call, comes sortAppended().
    [[nodiscard]] bool append(const Entry& entry) noexcept {
        if (!makeRoom()) {
            return false;
        }
        m_inOrder = m_inOrder && (m_count == 0 || compareNames(end()[-1].name, entry.name) < 0);
        *end() = entry;
        ++m_count;
        return true;
    }
    // Sorts, unless all names came in order. Of equal names the last one stays, as if they had been inserted
    // one by one; before any is destroyed, replaced(const Entry& earlier, const Entry& later) is called for
    // each pair. Should that throw, all entries are still there and the call may be repeated.
    template <class Replaced>
    void sortAppended(Replaced&& replaced) {
        if (m_inOrder) {
            return;
        }
        std::stable_sort(m_entries, end(), [](const Entry& left, const Entry& right) {
            return compareNames(left.name, right.name) < 0;
        });
        for (const Entry& earlier : entries().first(m_count - 1)) {
            const Entry& later = *(&earlier + 1);
            if (compareNames(earlier.name, later.name) == 0) {
                replaced(earlier, later);
            }
        }
        dropReplaced();
        m_inOrder = true;
    }

    // Takes an entry out and closes the gap; the caller owns what is returned.
    [[nodiscard]] Entry release(Entry* entry) noexcept {
        const Entry released = *entry;
        std::copy(entry + 1, end(), entry);
        --m_count;
        return released;
    }
    void erase(Entry* entry) noexcept {
        Entry released = release(entry);
        Destroy(released);
    }
    // Destroys all entries and frees the array.
    void clear() noexcept {
        for (Entry& entry : entries()) {
            Destroy(entry);
        }
        std::free(m_entries);
        m_entries = nullptr;
        m_capacity = 0;
        m_count = 0;
        m_inOrder = true;
    }

private:
    Entry* end() { return m_entries + m_count; }
    bool holds(const Entry* place, const char* name) {
        return place != end() && compareNames(place->name, name) == 0;
    }

    // The first entry whose name is not below.
    Entry* placeOf(const char* name) {
        return std::lower_bound(m_entries, end(), name, [](const Entry& entry, const char* wanted) {
            return compareNames(entry.name, wanted) < 0;
        });
    }

    void dropReplaced() noexcept {
        Entry* kept = m_entries;
        for (Entry* next = kept + 1; next != end(); ++next) {
            if (compareNames(kept->name, next->name) == 0) {
                Destroy(*kept);
            } else {
                ++kept;
            }
            *kept = *next;
        }
        m_count = static_cast<uint32_t>(kept + 1 - m_entries);
    }

    bool makeRoom() noexcept {
        if (m_count < m_capacity) {
            return true;
        }
        const uint64_t capacity = nextNameTableCapacity(m_capacity);
        if (capacity > std::numeric_limits<uint32_t>::max()) {
            return false;
        }
        void* const grown = sys::realloc(m_entries, capacity * sizeof(Entry));
        if (grown == nullptr) {
            return false;
        }
        m_entries = static_cast<Entry*>(grown);
        m_capacity = static_cast<uint32_t>(capacity);
        return true;
    }

    Entry* m_entries = nullptr;
    uint32_t m_capacity = 0;
    uint32_t m_count = 0;
    bool m_inOrder = true; // false only between an append out of order and sortAppended()
};

} // namespace em
