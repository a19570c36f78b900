// Counts the blocks and bytes that malloc and realloc hand out, of which the document model's memory
// consists.
#pragma once

#include <cstddef>

namespace em::test {

// The sanitizers bring their own malloc; nothing is counted under them.
#ifdef EM_SANITIZED
constexpr bool kHeapIsCounted = false;
#else
constexpr bool kHeapIsCounted = true;
#endif

class HeapCount {
public:
    HeapCount();
    ~HeapCount();
    HeapCount(const HeapCount&) = delete;
    HeapCount& operator=(const HeapCount&) = delete;

    [[nodiscard]] size_t blocks() const;
    [[nodiscard]] size_t bytes() const;
};

} // namespace em::test
