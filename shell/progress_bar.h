#pragma once

#include <chrono>
#include <string>

namespace ovrashell {

// A line on standard error that tells how far a long job is. Silent when that is no terminal.
class ProgressBar {
  public:
    explicit ProgressBar(std::string label);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // `part` runs from 0 to 1. Drawn ten times a second at most, so it may be called for every row.
    void Show(double part);

  private:
    std::string label_;
    bool isTerminal_;
    bool drawn_ = false;
    unsigned calls_ = 0;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace ovrashell
