#include "shell/pack_progress.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "shell/row_writer.h"
#include "shell/trace_capture.h"

namespace ovrashell {

namespace {

constexpr std::chrono::milliseconds kTimeBetweenLooks(100);
constexpr char kTableLine[] = "Packing ";

// The last line of the trace that names a table: "Packing NAME..." and "done" when it is.
std::string CurrentTable(const std::string& trace) {
    const auto start = trace.rfind(std::string("\n") + kTableLine);
    if (start == std::string::npos) {
        return {};
    }
    const auto name = start + sizeof kTableLine;
    const auto end = trace.find("...", name);
    return end == std::string::npos ? std::string() : trace.substr(name, end - name);
}

}  // namespace

PackProgress::PackProgress(const TraceCapture& trace) {
    if (::isatty(STDERR_FILENO) != 0) {
        watcher_ = std::thread([this, &trace] { Watch(trace); });
    }
}

PackProgress::~PackProgress() {
    if (!watcher_.joinable()) {
        return;
    }
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        stopping_ = true;
    }
    stop_.notify_one();
    watcher_.join();
    std::fputs("\r\x1b[K", stderr);
}

void PackProgress::Watch(const TraceCapture& trace) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stop_.wait_for(lock, kTimeBetweenLooks, [this] { return stopping_; })) {
        std::fprintf(stderr, "\r\x1b[Kpacking %s", OneLine(CurrentTable(trace.Text())).c_str());
        std::fflush(stderr);
    }
}

}  // namespace ovrashell
