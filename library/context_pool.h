#pragma once

// ContextPool: the memory of the objects behind the host's handles.
//
// The host keeps the address of such an object as a handle's data word, and the library never
// clears that word. So an address can come back after its object has ended: a view closed twice, a
// database freed twice, a handle opened anew. Memory that has once held a context therefore holds
// contexts for ever; an ended one lies here marked as ended, and is used again for the next of its
// kind. To look at a context through an old word is thus always a read of a context, dead or alive.
//
// Context needs a public member `Context* nextIdle`. The pool may be used from any thread; it is
// the one thing that databases of different threads share. So it is whole in a process that comes
// out of fork, too, whatever the parent's other threads were about: ForkGuard sees to that.

#include <mutex>

#include "library/platform.h"

namespace ovrasql {

template <class Context>
class ContextPool {
  public:
    constexpr ContextPool() = default;
    // Contexts that are still in use stay with their handles.
    ~ContextPool() {
        while (idle_ != nullptr) {
            Context* context = idle_;
            idle_ = context->nextIdle;
            delete context;
        }
    }
    ContextPool(const ContextPool&) = delete;
    ContextPool& operator=(const ContextPool&) = delete;

    // An ended context, or a new one.
    [[nodiscard]] Context* Take() {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            if (idle_ != nullptr) {
                Context* context = idle_;
                idle_ = context->nextIdle;
                return context;
            }
        }
        return new Context();
    }

    // Takes a context that has ended.
    void Give(Context* context) {
        const std::lock_guard<std::mutex> guard(mutex_);
        context->nextIdle = idle_;
        idle_ = context;
    }

    // Keeps all others out, from before a fork until behind it.
    void Lock() { mutex_.lock(); }
    void Unlock() { mutex_.unlock(); }

  private:
    std::mutex mutex_;
    Context* idle_ = nullptr;
};

// Stands behind its pool, once.
template <auto& pool>
class ForkGuard {
  public:
    ForkGuard() {
        AroundFork([] { pool.Lock(); }, [] { pool.Unlock(); });
    }
};

}  // namespace ovrasql
