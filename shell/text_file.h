#pragma once

// TextFile: the bytes that a text file has when it is opened, read from their start as often as
// wanted. Each time they are the same ones: what is appended meanwhile is left out, and a change of
// the bytes themselves is an Error. The end marks (1A) that older systems put behind a text are no
// part of it. A pipe or a device gives its bytes once only, so they are kept in a temporary file
// that goes with this object.

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ovrashell {

class TextFile {
  public:
    // Throws an Error for what cannot be read.
    explicit TextFile(const std::string& path);

    const std::string& Path() const { return path_; }

    // In bytes.
    uint64_t Size() const { return size_; }

    // Whether the file has more bytes by now.
    bool HasGrown() const { return Status().st_size > opened_.st_size; }

    // Calls back with piece after piece, without the byte order mark of UTF-8, until that gives
    // false. Throws an Error for UTF-16, for a failing read, and in front of a piece that is no
    // longer what it was.
    void ForEachPiece(const std::function<bool(std::string_view)>& onPiece);

    // Throws an Error if a piece that was read is no longer what it was. Reads them again only
    // where the file's time or size tells of a change.
    void EnsureUnchanged();

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    struct stat Status() const;
    void KeepCopy();
    std::size_t EndMarks() const;
    void CheckPiece(std::size_t index, std::string_view bytes);
    std::string_view FirstBytes(std::string_view bytes) const;
    std::string CannotRead() const;
    std::string WasChanged() const;

    std::string path_;
    std::unique_ptr<std::FILE, Closer> file_;
    struct stat opened_ {};
    uint64_t size_ = 0;
    std::vector<std::size_t> hashes_;  // of the pieces that were read
};

}  // namespace ovrashell
