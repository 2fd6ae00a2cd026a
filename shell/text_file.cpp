#include "shell/text_file.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "shell/byte_order_mark.h"
#include "shell/database.h"
#include "shell/interrupt.h"
#include "shell/temporary_file.h"

namespace ovrashell {

namespace {

constexpr std::size_t kPieceSize = 65536;

std::string LastReason() { return std::generic_category().message(errno); }

}  // namespace

TextFile::TextFile(const std::string& path) : path_(path), file_(std::fopen(path.c_str(), "rb")) {
    struct stat status {};
    if (file_ == nullptr || ::fstat(::fileno(file_.get()), &status) != 0) {
        throw Error(CannotRead());
    }
    size_ = static_cast<double>(status.st_size);
    if (!S_ISREG(status.st_mode)) {
        KeepCopy();
    }
}

void TextFile::ForEachPiece(const std::function<bool(std::string_view)>& onPiece) const {
    std::array<char, kPieceSize> piece{};
    bool atStart = true;
    std::size_t count = 0;
    std::rewind(file_.get());
    while ((count = std::fread(piece.data(), 1, piece.size(), file_.get())) > 0) {
        std::string_view bytes(piece.data(), count);
        if (std::exchange(atStart, false)) {
            if (IsUtf16(bytes)) {
                throw Error("'" + path_ + "' is UTF-16 text; save it as UTF-8");
            }
            bytes = WithoutByteOrderMark(bytes);
        }
        if (!onPiece(bytes)) {
            return;
        }
    }
    if (std::ferror(file_.get()) != 0) {
        throw Error(CannotRead());
    }
}

void TextFile::KeepCopy() {
    TemporaryFile place;
    std::unique_ptr<std::FILE, Closer> copy(std::fopen(place.Path().c_str(), "w+b"));
    place.RemoveName();
    double size = 0;
    bool written = copy != nullptr;
    if (written) {
        ForEachPiece([&](std::string_view bytes) {
            StopIfInterrupted();
            size += static_cast<double>(bytes.size());
            written = std::fwrite(bytes.data(), 1, bytes.size(), copy.get()) == bytes.size();
            return written;
        });
    }
    if (!written || std::fflush(copy.get()) != 0) {
        throw Error("Cannot keep '" + path_ + "' in a temporary file: " + LastReason());
    }
    file_ = std::move(copy);
    size_ = size;
}

std::string TextFile::CannotRead() const { return "Cannot read '" + path_ + "': " + LastReason(); }

}  // namespace ovrashell
