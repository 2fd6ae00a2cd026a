#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "shell/database.h"
#include "shell/import_source.h"

namespace ovrashell {

namespace {

namespace fs = std::filesystem;

// A folder of its own under the system's temporary one, removed at the end.
class ScratchFolder {
  public:
    ScratchFolder() {
        std::string name = (fs::temp_directory_path() / "ovrasql-import-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw Error("Cannot make a temporary folder '" + name + "'");
        }
        path_ = name;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    fs::path File(const char* name) const { return path_ / name; }

  private:
    fs::path path_;
};

// The memo file beside a data file, whatever the case of its extension. Empty when there is none.
fs::path MemoFileOf(const fs::path& dataFile) {
    const fs::path folder = dataFile.has_parent_path() ? dataFile.parent_path() : fs::path(".");
    for (const auto& entry : fs::directory_iterator(folder)) {
        const fs::path& candidate = entry.path();
        if (EqualNoCase(candidate.stem().string(), dataFile.stem().string()) &&
            EqualNoCase(candidate.extension().string(), ".dbt")) {
            return candidate;
        }
    }
    return {};
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
    explicit DbfSource(const std::string& path) : path_(path), columns_(DbfFile(path).Columns()) {
        const std::string schema = folder_.File("scratch.dbf").string();
        Database::Create(schema).Query("create table t (a char)");
        fs::copy_file(path, folder_.File("t.dbf"), fs::copy_options::overwrite_existing);
        const fs::path memo = MemoFileOf(path);
        if (!memo.empty()) {
            fs::copy_file(memo, folder_.File("t.dbt"), fs::copy_options::overwrite_existing);
        }
        fs::permissions(folder_.File("t.dbf"), fs::perms::owner_write, fs::perm_options::add);
        for (const Column& column : columns_) {
            names_.push_back(column.name);
        }
        rows_ = DbfFile(path).RecordCount();
        database_ = std::make_unique<Database>(Database::Open(schema));
    }

    const std::vector<std::string>& Names() const override { return names_; }
    const std::vector<Column>& Columns() const override { return columns_; }

    std::string Fault() const override {
        return DbfFile(path_).IsCutShort() ? "'" + path_ + "' ends before its last record" : "";
    }

    void ForEachRow(const std::function<void(const SourceRow&, double)>& onRow) override {
        try {
            View view = database_->Select("select * from t");
            uint32_t done = 0;
            while (view.Next()) {
                onRow(view.Values(), static_cast<double>(++done) / std::max<double>(1, rows_));
            }
        } catch (const Error& error) {
            throw Error(WithOwnPaths(error.what()));
        }
    }

  private:
    // The library's message with the paths of the user's files in place of the copies'.
    std::string WithOwnPaths(std::string message) const {
        Replace(folder_.File("t.dbf").string(), path_, &message);
        Replace(folder_.File("t.dbt").string(), fs::path(path_).replace_extension(".dbt").string(),
                &message);
        return message;
    }

    ScratchFolder folder_;
    std::string path_;
    std::vector<Column> columns_;
    std::vector<std::string> names_;
    double rows_ = 0;
    std::unique_ptr<Database> database_;
};

}  // namespace

std::unique_ptr<ImportSource> OpenDbfSource(const std::string& path) {
    return std::make_unique<DbfSource>(path);
}

}  // namespace ovrashell
