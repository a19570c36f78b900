#include "base/recursive_lock.h"

#include "support/turn.h"
#include "support/unit_test.h"

namespace em {
namespace {

test::Turn lockTried;

struct RecursiveLockTest : testing::Test {
    // What the analysis of lock annotations is told to leave alone: locks taken by steps, on purpose.
    void acquire() EM_NO_THREAD_SAFETY_ANALYSIS { m_lock.Acquire(); }
    void release() EM_NO_THREAD_SAFETY_ANALYSIS { m_lock.Release(); }

    fake::Scope m_script;
    RecursiveLock m_lock;
};

TEST_F(RecursiveLockTest, ExcludesOtherThreadsUntilTheOutermostRelease) {
    ASSERT_TRUE(m_lock.SetUp());
    acquire();
    acquire();
    bool bReleased = false; // plain: the lock orders it
    fake::watch([](const char* call) {
        if (std::strcmp(call, "pthread_mutex_lock") == 0) {
            lockTried.release();
        }
    });
    std::thread other([&] {
        release(); // not the owner: nothing happens
        acquire();
        EXPECT_TRUE(bReleased);
        release();
    });
    lockTried.acquire();
    release();
    bReleased = true;
    release();
    other.join();
    EXPECT_TRUE(m_lock.TearDown());
}

TEST_F(RecursiveLockTest, IsANoOpWithoutMutex) {
    fake::failNth("pthread_mutex_init", 1, ENOMEM);
    EXPECT_FALSE(m_lock.SetUp());
    acquire();
    std::thread([&] { acquire(); }).join(); // would block for ever
    release();
    EXPECT_EQ(fake::calls("pthread_mutex_lock"), 0);
    EXPECT_TRUE(m_lock.TearDown());
}

TEST_F(RecursiveLockTest, CountsAFailedLockCallAsTakenAndKeepsErrno) {
    ASSERT_TRUE(m_lock.SetUp());
    fake::failNth("pthread_mutex_lock", 1, EINVAL);
    errno = EBADF;
    acquire();
    acquire();
    EXPECT_EQ(fake::calls("pthread_mutex_lock"), 1) << "the caller is the owner";
    EXPECT_EQ(errno, EBADF);
}

TEST_F(RecursiveLockTest, TearDownLeavesAHeldLockAlone) {
    ASSERT_TRUE(m_lock.SetUp());
    acquire();
    std::thread([&] { EXPECT_FALSE(m_lock.TearDown()); }).join();
    acquire(); // a no-op from here on
    release();
    EXPECT_EQ(fake::calls("pthread_mutex_lock"), 1);
}

} // namespace
} // namespace em
