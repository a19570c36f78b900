#include "frame/heap_count.h"

#include <cstdlib>

namespace em::test {

namespace {

struct Counts {
    bool counting = false;
    size_t blocks = 0;
    size_t bytes = 0;

    void add(size_t size) {
        if (counting) {
            ++blocks;
            bytes += size;
        }
    }
};

thread_local constinit Counts counts;

} // namespace

HeapCount::HeapCount() {
    counts = {.counting = true};
}

HeapCount::~HeapCount() {
    counts.counting = false;
}

size_t HeapCount::blocks() const {
    return counts.blocks;
}

size_t HeapCount::bytes() const {
    return counts.bytes;
}

} // namespace em::test

#ifndef EM_SANITIZED
// In front of glibc's own, which the executable's definitions take precedence over.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_realloc(void* block, size_t size);

__attribute__((visibility("default"))) void* malloc(size_t size) {
    em::test::counts.add(size);
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* realloc(void* block, size_t size) {
    em::test::counts.add(size);
    return __libc_realloc(block, size);
}
}
#endif
