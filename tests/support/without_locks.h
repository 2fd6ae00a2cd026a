#pragma once

// WithoutLocks: a file system that has no locks. Where the system filters the calls of a thread
// (seccomp), those for locks on files fail with "No locks available".

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>
#include <thread>

namespace ovratest {

#ifdef SYS_fcntl64
inline constexpr unsigned kFcntlCall = SYS_fcntl64;
#else
inline constexpr unsigned kFcntlCall = SYS_fcntl;
#endif

// For the calling thread, to its end. False where there is no such filter.
inline bool RefuseLocksForThisThread() {
    constexpr unsigned kLowHalf = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? 4 : 0;
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kFcntlCall, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args) + 8 + kLowHalf),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, F_OFD_SETLK, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOLCK),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {sizeof(steps) / sizeof(steps[0]), steps};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// Whether the work could be done so.
template <class Work>
bool WithoutLocks(Work work) {
    bool could = false;
    std::thread thread([&] {
        could = RefuseLocksForThisThread();
        if (could) {
            work();
        }
    });
    thread.join();
    return could;
}

}  // namespace ovratest
