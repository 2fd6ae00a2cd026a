#include "shell/text_file.h"

#include <algorithm>
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
constexpr char kEndMark = '\x1A';

using Buffer = std::array<char, kPieceSize>;

std::string LastReason() { return std::generic_category().message(errno); }

bool IsSameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

TextFile::TextFile(const std::string& path) : path_(path), file_(std::fopen(path.c_str(), "rb")) {
    if (file_ == nullptr) {
        throw Error(CannotRead());
    }
    // A buffer of its own would hide what changes in the file.
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);
    opened_ = Status();
    // Some files of the system have bytes and a size of 0.
    if (!S_ISREG(opened_.st_mode) || opened_.st_size == 0) {
        KeepCopy();
    }
    size_ = static_cast<uint64_t>(opened_.st_size);
    size_ -= EndMarks();
}

void TextFile::ForEachPiece(const std::function<bool(std::string_view)>& onPiece) {
    Buffer piece{};
    std::rewind(file_.get());
    for (uint64_t done = 0; done < size_;) {
        const auto wanted =
            static_cast<std::size_t>(std::min<uint64_t>(piece.size(), size_ - done));
        const std::size_t count = std::fread(piece.data(), 1, wanted, file_.get());
        if (std::ferror(file_.get()) != 0) {
            throw Error(CannotRead());
        }
        const std::string_view bytes(piece.data(), count);
        if (count < wanted) {
            throw Error(WasChanged());
        }
        CheckPiece(static_cast<std::size_t>(done / piece.size()), bytes);
        if (!onPiece(done == 0 ? FirstBytes(bytes) : bytes)) {
            return;
        }
        done += count;
    }
}

void TextFile::EnsureUnchanged() {
    const struct stat now = Status();
    if (now.st_size != opened_.st_size || !IsSameTime(now.st_mtim, opened_.st_mtim)) {
        ForEachPiece([](std::string_view /*bytes*/) {
            StopIfInterrupted();
            return true;
        });
    }
}

struct stat TextFile::Status() const {
    struct stat status {};
    if (::fstat(::fileno(file_.get()), &status) != 0) {
        throw Error(CannotRead());
    }
    return status;
}

void TextFile::KeepCopy() {
    TemporaryFile place;
    std::unique_ptr<std::FILE, Closer> copy(std::fopen(place.Path().c_str(), "w+b"));
    place.RemoveName();
    Buffer piece{};
    bool written = copy != nullptr;
    std::size_t count = 0;
    while (written && (count = std::fread(piece.data(), 1, piece.size(), file_.get())) > 0) {
        StopIfInterrupted();
        written = std::fwrite(piece.data(), 1, count, copy.get()) == count;
    }
    if (std::ferror(file_.get()) != 0) {
        throw Error(CannotRead());
    }
    if (!written || std::fflush(copy.get()) != 0) {
        throw Error("Cannot keep '" + path_ + "' in a temporary file: " + LastReason());
    }
    file_ = std::move(copy);
    opened_ = Status();
}

// How many stand at the end of the file, which may be filled up with them.
std::size_t TextFile::EndMarks() const {
    std::string tail(static_cast<std::size_t>(std::min<uint64_t>(kPieceSize, size_)), '\0');
    if (::fseeko(file_.get(), static_cast<off_t>(size_ - tail.size()), SEEK_SET) != 0 ||
        std::fread(tail.data(), 1, tail.size(), file_.get()) != tail.size()) {
        throw Error(CannotRead());
    }
    return tail.size() - (tail.find_last_not_of(kEndMark) + 1);
}

void TextFile::CheckPiece(std::size_t index, std::string_view bytes) {
    const std::size_t hash = std::hash<std::string_view>()(bytes);
    if (index == hashes_.size()) {
        hashes_.push_back(hash);
    } else if (hashes_[index] != hash) {
        throw Error(WasChanged());
    }
}

std::string_view TextFile::FirstBytes(std::string_view bytes) const {
    if (IsUtf16(bytes)) {
        throw Error("'" + path_ + "' is UTF-16 text; save it as UTF-8");
    }
    return WithoutByteOrderMark(bytes);
}

std::string TextFile::CannotRead() const { return "Cannot read '" + path_ + "': " + LastReason(); }

std::string TextFile::WasChanged() const { return "'" + path_ + "' was changed while it was read"; }

}  // namespace ovrashell
