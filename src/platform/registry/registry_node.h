// One key of the registry tree: a sorted table of values and sub-keys under a lock of its own.
//
// Keys are counted: the entry that names one holds a reference, each handle and each walker holds one. A
// deleted key is unlinked and emptied at once; who still holds it finds nothing and can write nothing.
// Locks are taken downward only. A walker takes a child's reference under the parent's lock and gives that
// lock up before it takes the child's.
#pragma once

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "base/recursive_lock.h"
#include "platform/registry/registry_entry.h"

namespace em {

// A counted reference to a key, or none.
class RegistryKeyRef {
public:
    RegistryKeyRef() = default;
    explicit RegistryKeyRef(CRegistryNode* node); // adds a reference
    RegistryKeyRef(RegistryKeyRef&& other) noexcept : m_node(std::exchange(other.m_node, nullptr)) {}
    RegistryKeyRef& operator=(RegistryKeyRef&& other) noexcept {
        std::swap(m_node, other.m_node);
        return *this;
    }
    ~RegistryKeyRef();

    [[nodiscard]] CRegistryNode* get() const { return m_node; }
    CRegistryNode* operator->() const { return m_node; }
    CRegistryNode& operator*() const { return *m_node; }
    explicit operator bool() const { return m_node != nullptr; }

private:
    CRegistryNode* m_node = nullptr;
};

// A copy of a value, or the name of a sub-key.
struct RegistryItem {
    std::string name;
    int32_t type = 0;
    std::string data; // as dataOf() gives it; empty for a sub-key
};

class CRegistryNode {
public:
    constexpr CRegistryNode() = default;    // the root node: its lock is set up at load time
    explicit CRegistryNode(uint32_t depth); // a key that many levels below it, with one reference
    CRegistryNode(const CRegistryNode&) = delete;
    CRegistryNode& operator=(const CRegistryNode&) = delete;

    void AddReference() { m_references.fetch_add(1, std::memory_order_relaxed); }
    void Release() noexcept;
    [[nodiscard]] uint32_t Depth() const { return m_depth; }

    // None when the name is missing or a value.
    [[nodiscard]] RegistryKeyRef SubKey(const char* name);
    // The sub-key of that name, made when it is missing. None when a value has the name, at the deepest
    // level, on a deleted key and without memory.
    [[nodiscard]] RegistryKeyRef CreateSubKey(const char* name, bool& created);

    // False when there is no such value.
    [[nodiscard]] bool CopyValue(const char* name, RegistryItem& item);
    // Takes a value over and gives its place in the table, or null: when a sub-key has the name, on a deleted
    // key and without memory; the entry then stays the caller's.
    [[nodiscard]] const void* SetValue(const RegistryEntry& entry);
    [[nodiscard]] bool DeleteValue(const char* name);
    // Unlinks the sub-key and empties it with all that lies below. False when there is no such sub-key.
    [[nodiscard]] bool DeleteSubKey(const char* name);

    // Takes over what a tree read from a file holds at its top; entries of the same name are replaced,
    // sub-keys whole. False without memory.
    [[nodiscard]] bool Adopt(CRegistryNode& read);
    // Drops everything below, the key itself stays usable.
    void Clear();
    // Copies of all entries in table order.
    [[nodiscard]] std::vector<RegistryItem> Items();

    [[nodiscard]] RecursiveLock& Lock() EM_RETURN_CAPABILITY(m_lock) { return m_lock; }
    [[nodiscard]] RegistryTable& Table() EM_REQUIRES(m_lock) { return m_table; }
    // For who is alone with the key: while a file is read into it, and at unload.
    [[nodiscard]] RegistryTable& UnsharedTable() EM_NO_THREAD_SAFETY_ANALYSIS { return m_table; }

    // For dismantleRegistryKey: marks the key as deleted and takes its last sub-key out, destroying the
    // values behind it on the way. False when nothing is left.
    [[nodiscard]] bool TakeLastSubKey(RegistryEntry& subKey) noexcept;

private:
    RecursiveLock m_lock;
    RegistryTable m_table EM_GUARDED_BY(m_lock);
    bool m_deleted EM_GUARDED_BY(m_lock) = false;
    const uint32_t m_depth = 0;
    std::atomic<uint32_t> m_references{1};
};

enum class Dismantle {
    Deleted,  // a line for each key
    Unloaded, // silently, and what another thread has locked right now is left as it is
};
// Empties a key and everything below it, deepest first, without recursion.
void dismantleRegistryKey(const char* name, CRegistryNode& key, Dismantle why) noexcept;

} // namespace em
