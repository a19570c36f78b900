// The program's operator new, so that each allocation of the product may fail as a call of the system seam
// does. What a test allocates itself, or a library below it, never fails.
#include <cerrno>
#include <cstdlib>
#include <new>

#include "base/system_fake.h"
#include "rig/tests_own.h"

namespace {

void* allocated(std::size_t size) {
    if (!em::test::testsOwn && em::fake::injected("new") != 0) {
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

void* allocatedOrThrown(std::size_t size) {
    if (void* const memory = allocated(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) {
    return allocatedOrThrown(size);
}
void* operator new[](std::size_t size) {
    return allocatedOrThrown(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocated(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocated(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
