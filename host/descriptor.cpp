#include "host/descriptor.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <new>
#include <utility>

namespace ovrahost {

struct Descriptor::All {
    // Threads fork while others open and close: the list must be whole in the child.
    All() {
        const int failed = ::pthread_atfork([] { Everywhere().mutex.lock(); },
                                            [] {
                                                ++Everywhere().forksMade;
                                                Everywhere().mutex.unlock();
                                            },
                                            [] {
                                                ++Everywhere().forksLived;
                                                Everywhere().CloseInChild();
                                                Everywhere().mutex.unlock();
                                            });
        // Without the handlers a child would keep the locks of its parent.
        if (failed != 0) {
            throw std::bad_alloc();
        }
    }

    // Closing alone: the locks are the parent's, which holds the same open files. Another thread
    // of the parent may have been anywhere, so nothing here may allocate.
    void CloseInChild() {
        for (Descriptor* descriptor : descriptors) {
            if (descriptor->number_ >= 0) {
                ::close(descriptor->number_);
                descriptor->number_ = -1;
            }
        }
    }

    std::mutex mutex;
    std::list<Descriptor*> descriptors;
    uint64_t forksMade = 0;
    uint64_t forksLived = 0;  // changes where there is one thread yet
};

// Never destroyed: files may be closed by the destructors of a program's own static objects.
Descriptor::All& Descriptor::Everywhere() {
    static All& all = *new All;
    return all;
}

uint64_t Descriptor::ForkCount() { return Everywhere().forksLived; }

Descriptor::Descriptor() {
    All& all = Everywhere();
    const std::lock_guard<std::mutex> guard(all.mutex);
    place_ = all.descriptors.insert(all.descriptors.end(), this);
    forksBefore_ = all.forksMade;
}

// No fork comes in between: a child that has this on its list must not close a number that somebody
// else has by then, and one that has not could keep the locks.
Descriptor::~Descriptor() {
    All& all = Everywhere();
    const std::lock_guard<std::mutex> guard(all.mutex);
    if (number_ >= 0) {
        if (forksBefore_ != all.forksMade) {
            TryLock(F_UNLCK, 0, 0);
        }
        ::close(number_);
    }
    all.descriptors.erase(place_);
}

int Descriptor::Open(const std::string& path, int flags) {
    const mode_t permissions = (flags & O_EXCL) != 0 ? 0600 : 0666;
    do {
        number_ = ::open(path.c_str(), flags | O_CLOEXEC, permissions);
    } while (number_ < 0 && errno == EINTR);
    return number_ < 0 ? errno : LeaveStandardNumbers();
}

int Descriptor::LeaveStandardNumbers() {
    if (number_ > STDERR_FILENO) {
        return 0;
    }
    const int low = std::exchange(number_, ::fcntl(number_, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    const int reason = errno;
    ::close(low);
    return number_ < 0 ? reason : 0;
}

int Descriptor::TryLock(int16_t type, int64_t offset, int64_t length) const {
    struct flock range {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = offset;
    range.l_len = length;
    int result = -1;
    do {
        result = ::fcntl(number_, F_OFD_SETLK, &range);
    } while (result < 0 && errno == EINTR);
    return result < 0 ? errno : 0;
}

}  // namespace ovrahost
