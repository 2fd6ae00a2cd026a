#include "shell/progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace ovrashell {

namespace {

constexpr int kWidth = 30;
constexpr unsigned kCallsBetweenLooks = 64;  // the clock is not read for every row
constexpr std::chrono::milliseconds kTimeBetweenDrawings(100);

}  // namespace

ProgressBar::ProgressBar(std::string label)
    : label_(std::move(label)), isTerminal_(::isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
    if (drawn_) {
        std::fputs("\r\x1b[K", stderr);
    }
}

void ProgressBar::Show(double part) {
    if (!isTerminal_ || calls_++ % kCallsBetweenLooks != 0) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) {
        return;
    }
    next_ = now + kTimeBetweenDrawings;
    const int filled = static_cast<int>(std::clamp(part, 0.0, 1.0) * kWidth);
    const std::string bar = std::string(static_cast<std::size_t>(filled), '#') +
                            std::string(static_cast<std::size_t>(kWidth - filled), '.');
    std::fprintf(stderr, "\r%s [%s] %3d%%", label_.c_str(), bar.c_str(),
                 static_cast<int>(std::clamp(part, 0.0, 1.0) * 100));
    std::fflush(stderr);
    drawn_ = true;
}

}  // namespace ovrashell
