#pragma once

// The database that fuzz targets start from. Its files are made once, through SQL, and put back
// before every run, which takes less time than the run itself.
//
//   t  id, a, b, s, m (memo), ok     twelve records, one of them deleted; indexes ta, tdown
//   u  x, y, z (memo)                five records; indexes ux and the unique uy
//   e  a, s                          empty

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/memory_host.h"

namespace ovrasql::fuzz {

struct FileContents {
    std::string path;
    Bytes bytes;
};
using FileSet = std::vector<FileContents>;

inline constexpr const char* kTemplatePath = "main.dbf";

// The files of the template, sorted by path. The host is empty afterwards when they were made by
// this call.
const FileSet& TemplateFiles();

// The statements that make the template.
const std::vector<std::string>& TemplateStatements();

// The files that the host holds now.
FileSet HostFiles();

// An empty host that holds these files: without a log, with a small disk, and with a bound for the
// calls of its services. From that bound on all of them fail, so that a statement that is
// legitimately long ends with an error.
void StartHost(const FileSet& files, int64_t serviceCalls);

// What must hold when no database is open: no handle, no lock, no block is left, and no service was
// misused.
void RequireNothingLeft();

}  // namespace ovrasql::fuzz
