#pragma once

// TraceLog: the text file in which a database describes what it does. There are no levels. While
// the file is closed every call costs one test and formats nothing; while it is open each call is
// one write through the host. Writes are not checked: a trace that fails must not disturb what it
// traces.

#include <cstdint>

#include "foundation/text_view.h"

namespace ovrasql {

// The file's name when none is given.
inline constexpr char kDefaultTracePath[] = "sql.log";

// Longest text of one Print; what is longer is cut.
inline constexpr int32_t kTracePrintRoom = 2048;

class TraceLog {
  public:
    TraceLog() = default;
    ~TraceLog() { Close(); }
    TraceLog(const TraceLog&) = delete;
    TraceLog& operator=(const TraceLog&) = delete;

    // Opens the file of the host's program at the path (kDefaultTracePath when empty) for
    // appending. A file already open is closed first.
    [[nodiscard]] bool Open(void* program, TextView path);
    void Close();
    [[nodiscard]] bool IsOpen() const { return file_ != nullptr; }

    // Writes the text as it is, whole.
    void Write(TextView text) {
        if (file_ != nullptr) {
            WriteToFile(text);
        }
    }

    // Writes formatted text, at most kTracePrintRoom - 1 bytes of it.
    [[gnu::format(printf, 2, 3)]] void Print(const char* format, ...);

  private:
    void WriteToFile(TextView text);

    void* file_ = nullptr;
};

}  // namespace ovrasql
