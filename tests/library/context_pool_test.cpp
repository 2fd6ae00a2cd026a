// The pool of contexts is shared by all threads, and by what they fork.

#include "library/context_pool.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace ovrasql {
namespace {

struct PooledContext {
    PooledContext* nextIdle = nullptr;
};

ContextPool<PooledContext> pool;
const ForkGuard<pool> forkGuard;

TEST(ContextPool, EndedContextIsTheNextOne) {
    PooledContext* const first = pool.Take();
    PooledContext* const second = pool.Take();
    EXPECT_NE(first, second);
    pool.Give(first);
    EXPECT_EQ(pool.Take(), first);
    pool.Give(first);
    pool.Give(second);
}

// The thread that holds the pool is not there in the child, and would never let go of it.
TEST(ContextPool, ProcessThatWasForkedWhileTheOthersUsedItHasItsOwn) {
    std::atomic<bool> isHeld{false};
    std::thread user([&isHeld] {
        pool.Lock();
        isHeld = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        pool.Unlock();
    });
    while (!isHeld) {
        std::this_thread::yield();
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(10);
        pool.Give(pool.Take());
        ::_exit(0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    user.join();
    EXPECT_EQ(status, 0) << "killed by its alarm";
}

}  // namespace
}  // namespace ovrasql
