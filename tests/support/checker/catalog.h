#pragma once

// Catalog: the data file that lists tables and indexes, its rows taken apart. Rows that name no
// file of the database stay in the list; whether they hold is for the caller to check.

#include <string>
#include <vector>

#include "tests/support/checker/data_file.h"

namespace ovrasql::checker {

struct CatalogRow {
    uint32_t record = 0;
    std::string type;  // "T" or "I"
    std::string table;
    std::string index;
    std::string path;  // with the folder of the database
    std::string columns;
    std::string flags;
};

struct Catalog {
    std::string folder;  // up to the last separator, with it
    std::string firstIndexPath;
    std::string secondIndexPath;
    std::vector<CatalogRow> rows;  // the live ones, in the order of their records
};

// What can be told from the path alone.
Catalog NamedCatalog(const std::string& path);

// Its columns are those of a catalog: without them there are no rows.
bool HasCatalogColumns(const DataFile& data);
void ReadRows(const DataFile& data, Catalog* catalog);

// What the rows say about each other: kinds, names, files, flags. Deleted rows need a type only.
void CheckRows(const DataFile& data, const Catalog& catalog, Report* report);

std::string WithExtension(const std::string& path, const std::string& extension);

}  // namespace ovrasql::checker
