#pragma once

// While a line is edited the terminal gives its keys one by one and shows none of them. A signal
// that ends the process then must not leave it so.

namespace ovrashell {

// Keeps the terminal's settings while it lives. SIGTERM, SIGHUP and SIGQUIT put them back before
// they end the process, unless they are ignored. One at a time.
class TerminalSettings {
  public:
    TerminalSettings();
    ~TerminalSettings();
    TerminalSettings(const TerminalSettings&) = delete;
    TerminalSettings& operator=(const TerminalSettings&) = delete;
};

}  // namespace ovrashell
