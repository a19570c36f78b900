// EM_Create where memory runs out at each of its allocations.
#include <cstdlib>
#include <new>

#include "module/module_test.h"

// The module takes these from its host process. A sanitizer brings its own.
#ifndef EM_SANITIZED
namespace {

thread_local int allocationsLeft = -1; // before the one that fails; below 0 none does

void* allocate(size_t size) {
    if (allocationsLeft >= 0 && allocationsLeft-- == 0) {
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

} // namespace

void* operator new(size_t size) {
    if (void* const memory = allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t /*size*/) noexcept {
    std::free(memory);
}

namespace em::test {
namespace {

TEST(Creation, WithoutMemoryGivesNoModuleAndTheNextOneAWholeOne) {
    const LoadedModule library(1); // at which only the failure has a line
    int failures = 0;
    for (bool created = false; !created; ++failures) {
        recording().clear();
        void* object = &failures;
        allocationsLeft = failures;
        created = library.create(&object);
        allocationsLeft = -1;
        EXPECT_EQ(created, object != nullptr);
        EXPECT_EQ(recording().count("\nEM DLL (EM_SHUTDOWN) : ## ERROR: Module could not be created!\n"),
                  created ? 0U : 1U)
            << recording().shown();
    }
    EXPECT_GE(failures, 3) << "the object and more of it";
    EXPECT_EQ(library.destroy(), 1U);
}

} // namespace
} // namespace em::test
#endif
