// Writes a tree in the registry's file format.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <string_view>

#include "base/file_content.h"
#include "base/system.h"

namespace em {

class CRegistryNode;

// Text that grows at its end and is made of many short pieces. Beside std::string it fills no byte twice, and
// the C library moves a large one without copying it.
class GrowingText {
public:
    [[nodiscard]] std::string_view view() const { return {m_data.get(), m_size}; }

    // The pieces, one after the other. Throws std::bad_alloc; nothing is appended then.
    template <class... Pieces>
    void append(const Pieces&... pieces) {
        makeRoom((pieces.size() + ...));
        // A local, since for all the compiler knows the characters are written over the members.
        char* next = m_data.get() + m_size;
        ((next += pieces.copy(next, pieces.size())), ...);
        m_size = static_cast<size_t>(next - m_data.get());
    }

private:
    void makeRoom(size_t size) {
        if (size <= m_capacity - m_size) {
            return;
        }
        // Fourfold, so that little is copied on the way; pages that are never touched cost nothing.
        const size_t capacity = 4 * m_capacity + size + 1024;
        auto* const grown = static_cast<char*>(sys::realloc(m_data.get(), capacity));
        if (grown == nullptr) {
            throw std::bad_alloc();
        }
        static_cast<void>(m_data.release()); // realloc took it
        m_data.reset(grown);
        m_capacity = capacity;
    }

    std::unique_ptr<char, FreeDeleter> m_data;
    size_t m_size = 0;
    size_t m_capacity = 0;
};

// The whole file's text: of each key its values, then its sub-keys, both sorted by name, then an empty line.
// Each key's lock is held while what lies below it is written, so the text is a tree that was there. Throws
// std::bad_alloc.
[[nodiscard]] GrowingText writeRegistry(CRegistryNode& root);

} // namespace em
