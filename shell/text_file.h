#pragma once

// TextFile: the bytes of a text file, read from their start as often as wanted. A pipe or a device
// gives its bytes once only, so they are kept in a temporary file that goes with this object.

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace ovrashell {

class TextFile {
  public:
    // Throws an Error for what cannot be read.
    explicit TextFile(const std::string& path);

    const std::string& Path() const { return path_; }

    // In bytes.
    double Size() const { return size_; }

    // Calls back with piece after piece, without the byte order mark of UTF-8, until that gives
    // false. Throws an Error for UTF-16 and for a failing read.
    void ForEachPiece(const std::function<bool(std::string_view)>& onPiece) const;

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void KeepCopy();
    std::string CannotRead() const;

    std::string path_;
    std::unique_ptr<std::FILE, Closer> file_;
    double size_ = 0;
};

}  // namespace ovrashell
