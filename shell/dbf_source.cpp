#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <unordered_set>
#include <utility>
#include <vector>

#include "shell/database.h"
#include "shell/dbf_header.h"
#include "shell/import_source.h"
#include "shell/row_writer.h"
#include "shell/temporary_file.h"
#include "shell/white_space.h"

namespace ovrashell {

namespace {

namespace fs = std::filesystem;

// The memo file beside a data file, whatever the case of its extension. Empty when there is none.
fs::path MemoFileOf(const fs::path& dataFile) {
    std::error_code error;
    for (const char* extension : {".dbt", ".DBT"}) {
        fs::path usual = fs::path(dataFile).replace_extension(extension);
        if (fs::exists(usual, error)) {
            return usual;
        }
    }
    // A folder that cannot be listed has no file of another name for us.
    const fs::path folder = dataFile.has_parent_path() ? dataFile.parent_path() : fs::path(".");
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const fs::path& candidate = entry->path();
        if (EqualNoCase(candidate.stem().string(), dataFile.stem().string()) &&
            EqualNoCase(candidate.extension().string(), ".dbt")) {
            return candidate;
        }
    }
    return {};
}

// Makes a copy that can be written, whatever the permissions of the file itself.
void CopyFile(const fs::path& from, const std::string& to) {
    std::error_code error;
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
    if (!error) {
        fs::permissions(to, fs::perms::owner_read | fs::perms::owner_write, error);
    }
    if (error) {
        throw Error("Cannot copy '" + from.string() + "' to '" + to + "': " + error.message());
    }
}

// Names under which the library finds each column: an empty one, and one that comes again, ignoring
// case, is replaced by a name that no column has.
std::vector<std::string> DistinctNames(const std::vector<Column>& columns) {
    std::unordered_set<std::string> taken;
    for (const Column& column : columns) {
        taken.insert(Lowered(column.name));
    }
    std::unordered_set<std::string> met = {""};
    std::vector<std::string> names;
    std::size_t number = 0;
    for (const Column& column : columns) {
        std::string name = column.name;
        if (!met.insert(Lowered(name)).second) {
            do {
                name = "c" + std::to_string(++number);
            } while (taken.count(name) > 0);
        }
        names.push_back(name);
    }
    return names;
}

char LetterToRead(char letter) {
    return letter == 'L' || letter == 'D' ? 'C' : letter == 'F' ? 'N' : letter;
}

// Changes the header of a copy so that the library hands out each cell as it stands in the record:
// of two columns with one name it would read the first twice, and of a logical column it would tell
// nothing but 1 and 0. As text a cell loses the blanks behind it only, which are no part of a date
// either. Numbers of the other type F, which it does not read, are written as those of type N are.
void ExposeCells(const std::string& copy, const std::vector<Column>& columns) {
    const std::vector<std::string> names = DistinctNames(columns);
    std::fstream file(copy, std::ios::in | std::ios::out | std::ios::binary);
    std::size_t descriptor = kHeaderSize;
    for (std::size_t i = 0; i < columns.size(); ++i, descriptor += kDescriptorSize) {
        if (names[i] != columns[i].name) {
            std::array<char, kNameSize> bytes{};
            names[i].copy(bytes.data(), bytes.size());
            file.seekp(static_cast<std::streamoff>(descriptor)).write(bytes.data(), bytes.size());
        }
        if (const char letter = LetterToRead(columns[i].letter); letter != columns[i].letter) {
            file.seekp(static_cast<std::streamoff>(descriptor + kLetterOffset)).put(letter);
        }
    }
    if (!file.flush()) {
        throw Error("Cannot write '" + copy + "'");
    }
}

void Replace(const std::string& from, const std::string& to, std::string* text) {
    for (std::size_t at = 0; (at = text->find(from, at)) != std::string::npos; at += to.size()) {
        text->replace(at, from.size(), to);
    }
}

// The file is read by the library itself, as the table of a database made for the purpose: a copy
// of it takes the place of the table's own data file. So every cell comes out as the library reads
// it.
class DbfSource final : public ImportSource {
  public:
    explicit DbfSource(const std::string& path) : path_(path), copy_(folder_.File("t.dbf")) {
        std::error_code error;
        const fs::file_status status = fs::status(path, error);
        if (fs::exists(status) && !fs::is_regular_file(status)) {
            throw Error("'" + path + "' is no regular file");
        }
        columns_ = DbfFile(path).Columns();
        const std::string schema = folder_.File("scratch.dbf");
        Database::Create(schema).Query("create table t (a char)");
        CopyFile(path, copy_);
        const fs::path memo = MemoFileOf(path);
        if (!memo.empty()) {
            CopyFile(memo, folder_.File("t.dbt"));
        }
        ExposeCells(copy_, columns_);
        for (Column& column : columns_) {
            names_.push_back(column.name);
            column.letter = column.letter == 'F' ? 'N' : column.letter;
        }
        const DbfFile copy(copy_);
        rows_ = copy.RecordCount();
        isCutShort_ = copy.IsCutShort();
        database_ = std::make_unique<Database>(Database::Open(schema));
        WithOwnPaths([this] {
            for (int pass = 0; pass < kPasses; ++pass) {
                passes_.push_back(database_->Select("select * from t"));
            }
        });
        // What is open stays readable without its name; from here on nothing is left behind however
        // the program ends.
        folder_.Remove();
    }

    const std::vector<std::string>& Names() const override { return names_; }
    const std::vector<Column>& Columns() const override { return columns_; }
    std::string Place() const override {
        return "row " + std::to_string(row_) + " of '" + path_ + "'";
    }

    std::vector<std::string> Remarks() const override {
        std::vector<std::string> remarks;
        if (isCutShort_) {
            remarks.push_back("'" + path_ + "' ends before its last record");
        }
        return remarks;
    }

    void ForEachRow(const std::function<void(const SourceRow&, double)>& onRow) override {
        WithOwnPaths([&] {
            if (passes_.empty()) {
                throw Error("'" + path_ + "' cannot be read once more");
            }
            View view = std::move(passes_.back());
            passes_.pop_back();
            row_ = 0;
            while (view.Next()) {
                ++row_;
                onRow(ValuesOf(view), static_cast<double>(row_) / std::max<double>(1, rows_));
            }
        });
    }

  private:
    // Numbers that stand at the left of their cell come with the blanks behind them.
    SourceRow ValuesOf(const View& view) const {
        SourceRow values = view.Values();
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (columns_[i].letter == 'N') {
                values[i].erase(values[i].find_last_not_of(kWhiteSpace) + 1);
            }
        }
        return values;
    }

    // The library's messages get the paths of the user's files in place of the copies', and the
    // names of columns in them come from the file.
    template <typename Action>
    void WithOwnPaths(Action action) const {
        try {
            action();
        } catch (const Error& error) {
            std::string message = error.what();
            Replace(copy_, path_, &message);
            Replace(folder_.File("t.dbt"), fs::path(path_).replace_extension(".dbt").string(),
                    &message);
            throw Error(OneLine(message));
        }
    }

    TemporaryFolder folder_{"ovrasql-import-"};
    std::string path_;
    std::string copy_;
    std::vector<Column> columns_;
    std::vector<std::string> names_;
    double rows_ = 0;
    bool isCutShort_ = false;
    uint64_t row_ = 0;  // the one at hand
    std::unique_ptr<Database> database_;
    std::vector<View> passes_;  // those that are to come
};

}  // namespace

std::unique_ptr<ImportSource> OpenDbfSource(const std::string& path) {
    return std::make_unique<DbfSource>(path);
}

}  // namespace ovrashell
