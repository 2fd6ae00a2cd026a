#pragma once

// The table that is being packed, shown on standard error while that is a terminal. Packing is one
// call that returns at its end; the trace, which names each table as its turn comes, is read from a
// second thread meanwhile.

#include <condition_variable>
#include <mutex>
#include <thread>

namespace ovrashell {

class TraceCapture;

class PackProgress {
  public:
    explicit PackProgress(const TraceCapture& trace);
    ~PackProgress();
    PackProgress(const PackProgress&) = delete;
    PackProgress& operator=(const PackProgress&) = delete;

  private:
    void Watch(const TraceCapture& trace);

    std::mutex mutex_;
    std::condition_variable stop_;
    bool stopping_ = false;
    std::thread watcher_;
};

}  // namespace ovrashell
