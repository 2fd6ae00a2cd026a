#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace ovratest {

// While it lives, the process can open so many more files, one or two, and no others.
class FewDescriptors {
  public:
    explicit FewDescriptors(int count) {
        const int lowest = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        const int next = count > 1 ? ::dup(lowest) : lowest;
        ::getrlimit(RLIMIT_NOFILE, &before_);
        rlimit few = before_;
        few.rlim_cur = static_cast<rlim_t>(next) + 1;
        ::setrlimit(RLIMIT_NOFILE, &few);
        ::close(lowest);
        if (next != lowest) {
            ::close(next);
        }
    }
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

  private:
    rlimit before_{};
};

}  // namespace ovratest
