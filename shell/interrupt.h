#pragma once

// Ctrl-C while a statement runs at the prompt. A call of the library cannot be broken off without
// leaving its work half done. So the first Ctrl-C asks to stop: whoever goes through rows or
// statements looks here between two of them. The second one ends the program, as the first one does
// where no InterruptWatch lives: in scripts and pipes.

namespace ovrashell {

// Takes Ctrl-C over while it lives. One at a time.
class InterruptWatch {
  public:
    InterruptWatch();
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;
};

// Whether Ctrl-C was typed since the watch began; false without a watch.
bool Interrupted();

// Throws an Error when it was.
void StopIfInterrupted();

}  // namespace ovrashell
