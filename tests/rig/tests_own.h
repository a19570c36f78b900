// Whose code runs on a thread: the product's, whose allocations a test may make fail, or a test's own.
#pragma once

#include <utility>

namespace em::test {

inline thread_local bool testsOwn = false;

// What runs in the scope is the test's own, or (false) the product's.
class TestsOwn {
public:
    explicit TestsOwn(bool own = true) : m_before(std::exchange(testsOwn, own)) {}
    ~TestsOwn() { testsOwn = m_before; }
    TestsOwn(const TestsOwn&) = delete;
    TestsOwn& operator=(const TestsOwn&) = delete;

private:
    const bool m_before;
};

} // namespace em::test
