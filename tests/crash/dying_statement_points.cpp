// The places at which a statement may die.

#include <algorithm>

#include "tests/crash/dying_statement.h"
#include "tests/support/checker/bytes.h"

namespace ovrasql {

namespace {

using checker::Number32;

constexpr size_t kLongestHeader = 1024;

// Behind which bytes a write over a header can break off, so that it is neither the old one nor the
// new one.
std::set<size_t> CutsOfHeader(const Bytes& old, const Bytes& header) {
    std::set<size_t> cuts;
    for (size_t index = 0; index < header.size(); ++index) {
        if (index >= old.size() || old[index] != header[index]) {
            cuts.insert(index + 1);
        }
    }
    if (!cuts.empty()) {
        cuts.erase(std::prev(cuts.end()));  // behind the last one it is the new one
    }
    return cuts;
}

// Whether the number that a data file or a memo file counts with is torn by a cut behind so many
// bytes of the new header.
bool TearsCount(const std::string& path, const Bytes& old, const Bytes& header, size_t cut) {
    const size_t at = path.ends_with(".dbf") ? 4 : 0;
    if (path.ends_with(".ovx") || old.size() < at + 4 || header.size() < at + 4) {
        return false;
    }
    Bytes cutHeader = old;
    std::copy_n(header.begin(), cut, cutHeader.begin());
    const uint32_t number = Number32(cutHeader, at);
    return number != Number32(old, at) && number != Number32(header, at);
}

}  // namespace

// Of the files that the statement makes only those of a new database have their names at once.
void DyingStatement::NotePoints(const FileSet& before) {
    FileSet headers;  // as they are behind the changes so far
    for (const auto& [path, bytes] : before) {
        headers[path] = Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                                 bytes.size(), kLongestHeader)));
    }
    for (size_t index = 0; index < step_.changes.size(); ++index) {
        const FileChange& change = step_.changes[index];
        const size_t size = change.bytes.size();
        const Bytes old = headers[change.path];
        const bool isHeader = change.kind == FileChangeKind::kWrite && change.offset == 0;
        std::set<size_t> cuts = {size / 2, size - 1};
        if (isHeader && (!old.empty() || kind_ == DyingKind::kCreateDatabase)) {
            cuts.merge(CutsOfHeader(old, change.bytes));
        }
        for (const size_t cut : cuts) {
            if (cut > 0 && cut < size) {
                points_.push_back({index, cut, true,
                                   isHeader && TearsCount(change.path, old, change.bytes, cut)});
            }
        }
        points_.push_back({index, size, false});
        if (isHeader) {
            Apply(change, &headers);
        }
    }
}

}  // namespace ovrasql
