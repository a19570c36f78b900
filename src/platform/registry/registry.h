// A handle on a key of the registry, one per use, and the class-wide operations of the store.
//
// The tree is read once per process and lives in memory; nothing is read before the first operation that
// needs it. Every handle, when it ends, saves the tree if it was changed, so that on the return of its
// destructor its changes are on disk (or a level-1 line says that they are in memory only). A change that
// could not be saved because another process's writer held the files' lock, or because the main file is a
// symbolic link, is tried again by each handle that ends; one that changed nothing itself does not wait.
// Several threads may work through handles of their own at the same time; one handle belongs to one thread.
//
// Paths are separated by "\" (if they contain one) or else by "/"; empty components are skipped, names are
// case-sensitive, a null path is the empty one. No operation lets an exception out; no
// memory counts as failure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/swallow.h"
#include "platform/registry/registry_names.h"
#include "platform/registry/registry_node.h"
#include "platform/registry/registry_path.h"

namespace em {

// What callers pass as access right; accepted and ignored.
constexpr uint32_t REGISTRY_READ = 0x20019;
constexpr uint32_t REGISTRY_WRITE = 0x20006;

class CRegistry {
public:
    CRegistry() = default;
    ~CRegistry(); // closes the key, then saves
    CRegistry(const CRegistry&) = delete;
    CRegistry& operator=(const CRegistry&) = delete;

    // The class. A directory takes the place of the store's fixed one from then on; the product gives none.
    // SetupTree reads the files unless that was done; forced, it reads them again into the tree that is there
    // and sub-keys of the root are replaced. InitClass drops the tree first. SaveTree writes a changed tree.
    static void SetupTree(bool forceSetup, const char* directory = nullptr);
    static void InitClass(const char* directory = nullptr);
    static bool SaveTree(); // false: the change is in memory only
    // Hold it around several operations that must see one another's state. Other handles may still change
    // values under it.
    [[nodiscard]] static RecursiveLock& Lock();
    // None when the root node has no such sub-key.
    [[nodiscard]] static RegistryKeyRef Root(PredefinedRoot root);

    // From `parent`, or from the root node when it is null; without a path the start itself is opened. Result
    // 0 or -1. A handle that had a key open keeps it when this fails.
    int32_t Open(const char* path, CRegistryNode* parent = nullptr, uint32_t rights = REGISTRY_READ,
                 int32_t reserved = -1);
    // Opens the key and makes what is missing of it. -1 also for a component that is a value, a name that the
    // file could not carry (see SetValue) and below 512 levels; then nothing is made, not the keys on its way
    // either.
    int32_t CreateKey(CRegistryNode* parent, const char* path);
    // Opens the key that a pointer value names: a path whose first component, whatever its case, is a root
    // name. 0, or -1: a key that was open then stays so.
    int32_t OpenPointer(const char* name);
    // Opens the key that holds the pointer values: 0 or -1.
    int32_t OpenPointersKey();
    // The text of a pointer value, expanded if need be: 0, 61 when the value is missing or no text, -1
    // without the pointers' key. The handle's key is that key afterwards.
    int32_t QueryPointer(const char* name, std::string& text);
    [[nodiscard]] CRegistryNode* Node() const { return m_node.get(); } // null when none is open

    // Reads a value into the handle: Data() and ValueType() then give it. Results 0, 22 without a key or
    // name, 61 when there is no such value.
    int32_t GetValue(const char* name);
    // The text of a string or expandable string; node null is the opened key. 22 without key or name; 61 for
    // a missing value or another type; 34 without `size`. Without a buffer *size becomes the length plus
    // terminator. A buffer of *size characters or fewer than the length is filled without a terminator: 34,
    // *size as it was. Otherwise text and terminator are copied and *size becomes the length.
    int32_t QueryValue(char* buffer, const char* name, uint32_t* size, CRegistryNode* node = nullptr);
    // The same as a text: 0, 22 or 61; the out argument is written on 0 only.
    int32_t QueryText(const char* name, std::string& text);
    int32_t QueryNumber(const char* name, uint32_t& number);

    // Each returns 1, or 0 with Result() 22 and nothing changed: no key, a sub-key of that name, a bad type
    // or size, a name or data that the file could not carry back. A level-1 line gives the reason. Type and
    // size are looked at first; data may be null when size is 0. A NUL at the end of a text is its
    // terminator.
    unsigned SetValue(const char* name, const void* data, uint32_t size, int32_t type,
                      CRegistryNode* node = nullptr);
    unsigned SetValue(const char* name, uint32_t number);
    unsigned SetValue(const char* name, const char* text);
    // 0, or 22 when there is no such value, or sub-key; the latter goes with all that lies below.
    int32_t DeleteValue(const char* name);
    int32_t DeleteKey(const char* name);

    [[nodiscard]] int32_t Result() const { return m_result; } // of the last operation
    // Why the last operation refused to make a key or to set a value, to follow "is refused: ", else null.
    [[nodiscard]] const char* Refusal() const { return m_refusal; }
    [[nodiscard]] int32_t ValueType() const { return m_valueType; }
    [[nodiscard]] const std::string& Data() const { return m_buffer; }
    void SetExpand(bool expand) {
        m_expand = expand;
    } // of expandable strings when they are read; initially on

private:
    // Keeps and returns the operation's result, or the one for when it throws.
    template <class Operation>
    int32_t Run(int32_t onFailure, Operation&& operation) {
        m_result = onFailure;
        m_refusal = nullptr;
        static_cast<void>(swallow([&] { m_result = operation(); }));
        return m_result;
    }

    int32_t Walk(const char* path, CRegistryNode* parent, bool create);
    [[nodiscard]] bool MakeSubKeys(RegistryKeyRef& key, RegistryPath missing);
    int32_t ReadText(const char* name, CRegistryNode* node);
    int32_t Read(const char* name, CRegistryNode* node);
    const void* Insert(const char* name, std::string_view data, int32_t type, CRegistryNode* node);
    void MarkChanged();

    int32_t m_result = REG_SUCCESS;
    const char* m_refusal = nullptr;
    RegistryKeyRef m_node;
    int32_t m_valueType = 0;
    bool m_expand = true;
    bool m_changed = false; // by this handle
    std::string m_path;     // last opened
    std::string m_buffer;   // data of the value last read
};

} // namespace em
