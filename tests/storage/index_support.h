#pragma once

// What the tests of index files share: index files put together by hand, without the library, and a
// reader of index files of its own that checks what every undamaged tree holds.

#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "storage/ovra_sql_index.h"
#include "tests/storage/data_support.h"

namespace ovrasql {

inline TextView View(const std::string& text) {
    return TextView(text.data(), static_cast<int32_t>(text.size()));
}

// --- Bytes by hand

struct HeaderValues {
    uint32_t generation = 0;
    uint32_t nextPage = 2;
    uint32_t root = 1;
    uint32_t flags = 0;
    std::string expression = "";
    uint32_t order = 8;
    uint32_t pageSize = 1024;
    uint32_t entrySize = 108;
    int version = 3;
    std::string magic = "OVXI";
};

// The 427 bytes at the head of the file.
inline std::string IndexHeaderBytes(const HeaderValues& values) {
    std::string bytes = values.magic + static_cast<char>(values.version);
    bytes += Little32(values.generation) + Little32(values.nextPage) + Little32(values.root);
    bytes += Little16(values.order) + Little16(values.pageSize) + Little16(values.entrySize);
    bytes += Little32(values.flags);
    std::string expression = values.expression;
    expression.resize(400, '\0');
    return bytes + expression;
}

inline std::string Padded(std::string bytes, size_t length) {
    bytes.resize(length, '\0');
    return bytes;
}

struct Entry {
    uint32_t child = 0;
    uint32_t record = 0;
    std::string key = "";
};

inline std::string EntryBytes(const Entry& entry, size_t entrySize = 108) {
    return Padded(Little32(entry.child) + Little32(entry.record) + entry.key, entrySize);
}

// A page: its entries, the rightmost child, and what stands behind as it is (zero otherwise).
inline std::string PageBytes(const std::vector<Entry>& entries, uint32_t rightmost = 0,
                             const std::string& behind = "", size_t pageSize = 1024,
                             size_t entrySize = 108) {
    std::string bytes = Little32(static_cast<uint32_t>(entries.size()));
    for (const Entry& entry : entries) {
        bytes += EntryBytes(entry, entrySize);
    }
    return Padded(bytes + Little32(rightmost) + behind, pageSize);
}

inline std::string IndexFile(const HeaderValues& header, const std::vector<std::string>& pages) {
    std::string bytes = Padded(IndexHeaderBytes(header), header.pageSize);
    for (const std::string& page : pages) {
        bytes += page;
    }
    return bytes;
}

// --- A reader of its own

// The integer of so many bytes at the offset.
inline uint32_t LittleAt(const std::string& bytes, size_t offset, size_t size) {
    uint32_t value = 0;
    for (size_t index = size; index > 0; --index) {
        value = value << 8U | static_cast<unsigned char>(bytes[offset + index - 1]);
    }
    return value;
}

// One line for a whole tree: "(A1 B2) C3 (D4 E5)" is a root with one key and two leaves. Notes
// every page that is reached twice or lies outside, every leaf at another depth than the first, and
// every page but the root that has too few keys.
class IndexShape {
  public:
    explicit IndexShape(const std::string& path) : bytes_(TheHost().FileText(path)) {
        pageSize_ = Number(19, 2);
        entrySize_ = Number(21, 2);
        text_ = Page(static_cast<uint32_t>(Number(13, 4)), 0);
    }

    [[nodiscard]] const std::string& Line() const { return text_; }
    [[nodiscard]] const std::string& Faults() const { return faults_; }
    // Keys with their record numbers, in the tree's order.
    [[nodiscard]] const std::vector<std::pair<std::string, uint32_t>>& Keys() const {
        return keys_;
    }

  private:
    [[nodiscard]] size_t Number(size_t offset, size_t size) const {
        return LittleAt(bytes_, offset, size);
    }

    std::string Page(uint32_t number, int depth) {
        const size_t start = number * pageSize_;
        if (number == 0 || start + pageSize_ > bytes_.size() || number >= Number(9, 4) ||
            !pages_.insert(number).second) {
            faults_ += "page " + std::to_string(number) + " is out of place; ";
            return "?";
        }
        const size_t count = Number(start, 4);
        if ((depth > 0 && count < Number(17, 2) / 2 - 1) || count > Number(17, 2)) {
            faults_ +=
                "page " + std::to_string(number) + " has " + std::to_string(count) + " keys; ";
        }
        std::string line;
        bool leaf = false;
        for (size_t i = 0; i <= count; ++i) {
            const size_t entry = start + 4 + i * entrySize_;
            const auto child = static_cast<uint32_t>(Number(entry, 4));
            leaf = leaf || child == 0;
            if (child != 0) {
                line += (i > 0 ? " (" : "(") + Page(child, depth + 1) + ")";
            }
            if (i < count) {
                const std::string key = bytes_.substr(entry + 8, entrySize_ - 8).c_str();
                const auto record = static_cast<uint32_t>(Number(entry + 4, 4));
                line += (line.empty() ? "" : " ") + key + std::to_string(record);
                keys_.emplace_back(key, record);
            }
        }
        if (leaf && leafDepth_ < 0) {
            leafDepth_ = depth;
        } else if (leaf && leafDepth_ != depth) {
            faults_ += "page " + std::to_string(number) + " is a leaf at another depth; ";
        }
        return line;
    }

    std::string bytes_;
    size_t pageSize_ = 0;
    size_t entrySize_ = 0;
    int leafDepth_ = -1;
    std::string text_;
    std::string faults_;
    std::set<uint32_t> pages_;
    std::vector<std::pair<std::string, uint32_t>> keys_;
};

// --- Fixture

class IndexTest : public DataTest {
  protected:
    void SetUp() override {
        DataTest::SetUp();
        TheHost().SetErrorText("host text");
        index_ = std::make_unique<OvraSQLIndex>(database_);
    }
    void TearDown() override {
        EXPECT_TRUE(TheHost().Locks().empty());
        index_.reset();
        DataTest::TearDown();
    }

    void Create(int32_t flags) { ASSERT_TRUE(index_->Create("t.ovx", "", flags)); }

    // Puts a file there and opens it.
    void OpenBytes(const std::string& bytes) {
        index_->Close();
        TheHost().SetFile("t.ovx", bytes);
        ASSERT_TRUE(index_->Open("t.ovx", 3)) << Text(index_->Error());
    }

    // Inserts the keys of a text like "A B C", with record numbers from `first` on.
    void Insert(const std::string& keys, uint32_t first = 1) {
        for (const std::string& key : Words(keys)) {
            ASSERT_TRUE(index_->InsertKey(first, View(key))) << Text(index_->Error());
            ++first;
        }
    }

    static std::vector<std::string> Words(const std::string& text) {
        std::vector<std::string> words;
        std::istringstream stream(text);
        for (std::string word; stream >> word;) {
            words.push_back(word);
        }
        return words;
    }

    // The tree as IndexShape shows it, with its faults in front.
    static std::string Shape() {
        const IndexShape shape("t.ovx");
        return shape.Faults() + shape.Line();
    }

    static std::string FilePage(uint32_t number) {
        return TheHost().FileText("t.ovx").substr(size_t{number} * 1024, 1024);
    }

    static std::string FileHeader() { return TheHost().FileText("t.ovx").substr(0, 427); }

    // Record numbers from First on, as "3 1 2".
    static std::string Forward(OvraSQLIndex& index) {
        std::string text;
        uint32_t record = 0;
        for (bool more = index.First(&record, true); more && record != 0;
             more = index.Next(&record, nullptr, true)) {
            text += (text.empty() ? "" : " ") + std::to_string(record);
        }
        return text;
    }

    static std::string Backward(OvraSQLIndex& index) {
        std::string text;
        uint32_t record = 0;
        for (bool more = index.Last(&record, true); more && record != 0;
             more = index.Previous(&record, true)) {
            text += (text.empty() ? "" : " ") + std::to_string(record);
        }
        return text;
    }

    // What Seek reports, as "found 3", "at 3" (nothing found), or "failed".
    static std::string Sought(OvraSQLIndex& index, const std::string& key, bool exact = true) {
        uint32_t record = 77;
        bool found = true;
        if (!index.Seek(View(key), exact, &record, &found, true)) {
            return "failed";
        }
        return (found ? "found " : "at ") + std::to_string(record);
    }

    std::unique_ptr<OvraSQLIndex> index_;
};

}  // namespace ovrasql
