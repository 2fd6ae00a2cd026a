#include "tests/faults/accepted_harms.h"

#include <algorithm>
#include <initializer_list>

namespace ovrasql {

namespace {

bool Begins(const ScriptStep& step, const char* start) {
    return step.text.compare(0, std::string(start).size(), start) == 0;
}

bool Contains(const ScriptStep& step, const char* words) {
    return step.text.find(words) != std::string::npos;
}

bool IsReading(const Situation& situation) {
    const StepKind kind = KindOf(situation.step);
    return kind == StepKind::kSelect || kind == StepKind::kWalk || kind == StepKind::kReveal;
}

bool IsChange(const Situation& situation) {
    return Begins(situation.step, "insert") || Begins(situation.step, "update") ||
           Begins(situation.step, "delete");
}

bool IsRebuild(const Situation& situation) {
    return KindOf(situation.step) == StepKind::kPack || Begins(situation.step, "alter");
}

bool CreatesTable(const Situation& situation) { return Begins(situation.step, "create table "); }

bool CreatesIndex(const Situation& situation) {
    return Begins(situation.step, "create index ") ||
           Begins(situation.step, "create unique index ");
}

// Whether one of these services has failed on a file of this part.
bool Failed(const Situation& situation, FilePart part,
            std::initializer_list<const char*> services) {
    return std::any_of(situation.failed.begin(), situation.failed.end(), [&](const HostCall& call) {
        return PartOf(call.path) == part &&
               std::find(services.begin(), services.end(), call.name) != services.end();
    });
}

bool FailedToRead(const Situation& situation, FilePart part) {
    return Failed(situation, part, {"ovFile_Seek", "ovFile_Read", "ovFile_Lock"});
}

// Finding rows: a record of a table, or the way to it through an index.
bool FailedToWalk(const Situation& situation) {
    return FailedToRead(situation, FilePart::kData) || FailedToRead(situation, FilePart::kIndex);
}

bool FailedToWrite(const Situation& situation, FilePart part) {
    return Failed(situation, part, {"ovFile_Seek", "ovFile_Read", "ovFile_Lock", "ovFile_Write"});
}

bool FailedService(const Situation& situation, const char* service) {
    return std::any_of(situation.failed.begin(), situation.failed.end(),
                       [&](const HostCall& call) { return call.name == service; });
}

std::vector<AcceptedHarm> Silences() {
    return {
        {"a record that can't be read, or a step of an index that fails, ends a walk like the end "
         "of the table",
         {Harm::kRowsRead},
         [](const Situation& s) { return s.ok && IsReading(s) && FailedToWalk(s); }},
        {"so fewer rows are changed",
         {Harm::kNotWhole},
         [](const Situation& s) {
             return s.ok && IsChange(s) && !Contains(s.step, " values ") && FailedToWalk(s);
         }},
        {"what such a walk does not find can't make a statement fail: the second row of a "
         "sub-query, the equal key of a UNIQUE index",
         {Harm::kNotRefused},
         [](const Situation& s) {
             return s.ok && FailedToWalk(s) &&
                    ((IsReading(s) && Contains(s.step, "(select")) || Begins(s.step, "update"));
         }},
        {"a value that is made of a sub-query is that of the rows that were read, also where the "
         "statement fails behind it",
         {Harm::kRowChanged},
         [](const Situation& s) {
             return Begins(s.step, "update") && Contains(s.step, "(select") && FailedToWalk(s);
         }},
        {"a row of an outer join whose partner can't be read is one without a partner, so it is a "
         "row of a DELETE that fails behind it",
         {Harm::kRowLost, Harm::kKeys},
         [](const Situation& s) {
             return Begins(s.step, "delete") && Contains(s.step, " outer join ") &&
                    FailedToRead(s, FilePart::kData);
         }},
        {"a sub-query, or one side of a UNION, that gives fewer rows picks fewer of those to "
         "change",
         {Harm::kOrder},
         [](const Situation& s) {
             return s.ok && FailedToWalk(s) &&
                    ((Begins(s.step, "delete") && Contains(s.step, "(select")) ||
                     (Begins(s.step, "insert") && Contains(s.step, " union ")));
         }},
        {"a memo text that can't be read is as much of it as was read",
         {Harm::kRowsRead, Harm::kNotWhole, Harm::kMemoText},
         [](const Situation& s) {
             return s.ok && !Contains(s.step, " values ") && FailedToRead(s, FilePart::kMemo);
         }},
        {"a record is stored although its memo text could not be written",
         {Harm::kMemoText, Harm::kMemoFile, Harm::kNotWhole},
         [](const Situation& s) {
             return (Begins(s.step, "insert") || Begins(s.step, "update")) &&
                    FailedToWrite(s, FilePart::kMemo);
         }},
        {"a rebuild leaves out records, texts and keys that can't be written to the new files",
         {Harm::kRowLost, Harm::kMemoText, Harm::kMemoFile, Harm::kKeys},
         [](const Situation& s) { return IsRebuild(s) && FailedToWrite(s, FilePart::kTemporary); }},
        {"a row of the catalog that can't be read ends a pack like the last row",
         {Harm::kNotWhole},
         [](const Situation& s) {
             return s.ok && KindOf(s.step) == StepKind::kPack &&
                    FailedToRead(s, FilePart::kCatalogData);
         }},
        {"CREATE INDEX takes the first record that can't be read for the end of the table",
         {Harm::kKeys},
         [](const Situation& s) { return CreatesIndex(s) && FailedToRead(s, FilePart::kData); }},
        {"so CREATE UNIQUE INDEX may not see the equal keys, of which a pack leaves one out",
         {Harm::kNotRefused, Harm::kLeftByPack},
         [](const Situation& s) {
             return s.ok && Begins(s.step, "create unique index ") &&
                    FailedToRead(s, FilePart::kData);
         }},
        {"DROP goes on where a file is not there, and DROP INDEX where it can't be deleted",
         {Harm::kFileLeft},
         [](const Situation& s) {
             return s.ok && ((Begins(s.step, "drop ") && FailedService(s, "ovFile_Exists")) ||
                             (Begins(s.step, "drop index ") && FailedService(s, "ovFile_Delete")));
         }},
        {"a value that finds no memory when the host asks for it is the empty text",
         {Harm::kRowsRead},
         [](const Situation& s) { return s.ok && s.outOfMemory && IsReading(s); }},
        {"a host that gives no variable gets no value",
         {Harm::kRowsRead},
         [](const Situation& s) {
             return s.ok && IsReading(s) &&
                    (FailedService(s, "ovDatabaseView_AddVariable") ||
                     FailedService(s, "ovVariable_Array_Element") ||
                     FailedService(s, "ovVariable_Struct_Member"));
         }},
    };
}

bool FailedInCatalog(const Situation& s) {
    return !s.ok && (s.outOfMemory || FailedToWrite(s, FilePart::kCatalogData) ||
                     FailedToWrite(s, FilePart::kCatalogIndex));
}

std::vector<AcceptedHarm> Remains() {
    return {
        {"what a definition or a rebuild has made before it failed stays",
         {Harm::kFileLeft},
         [](const Situation& s) {
             return !s.ok && (CreatesTable(s) || CreatesIndex(s) || IsRebuild(s));
         }},
        {"a DROP TABLE that failed has taken some rows out of the catalog, and not their files",
         {Harm::kFileLeft},
         [](const Situation& s) { return !s.ok && Begins(s.step, "drop table "); }},
        {"a record whose writing broke off is new in its first part and old in the rest",
         {Harm::kRowChanged, Harm::kMemoText},
         [](const Situation& s) {
             return !s.ok && Begins(s.step, "update") &&
                    Failed(s, FilePart::kData, {"ovFile_Write"});
         }},
        {"a rebuild that fails between its renamings leaves new files beside old ones",
         {Harm::kMemoText, Harm::kMemoFile, Harm::kDoesNotPack},
         [](const Situation& s) {
             return !s.ok && IsRebuild(s) &&
                    (FailedService(s, "ovFile_Rename") || FailedService(s, "ovFile_Delete"));
         }},
        {"a change of an index that fails in the middle leaves what has been written",
         {Harm::kIndexFile, Harm::kKeys},
         [](const Situation& s) {
             return !s.ok && IsChange(s) && (s.outOfMemory || FailedToWrite(s, FilePart::kIndex));
         }},
        {"a CREATE that fails while it writes the catalog leaves the row without its keys; no pack "
         "mends the catalog",
         {Harm::kCatalogIndex, Harm::kLeftByPack, Harm::kDoesNotPack},
         [](const Situation& s) {
             return (CreatesTable(s) || CreatesIndex(s)) && FailedInCatalog(s);
         }},
        {"a CREATE INDEX, which has two keys to add, may leave a page of the catalog's index half "
         "written, and an index that has one key only",
         {Harm::kCatalog, Harm::kOtherStatement, Harm::kIndexFile},
         [](const Situation& s) { return CreatesIndex(s) && FailedInCatalog(s); }},
        {"DROP INDEX deletes the file before the row",
         {Harm::kCatalog},
         [](const Situation& s) { return Begins(s.step, "drop index ") && FailedInCatalog(s); }},
        {"a database whose making failed is none, nor is the one that was there",
         {Harm::kFileLeft, Harm::kCatalogIndex, Harm::kCatalog, Harm::kLeftByPack,
          Harm::kDoesNotOpen},
         [](const Situation& s) { return !s.ok && KindOf(s.step) == StepKind::kCreate; }},
    };
}

}  // namespace

std::vector<AcceptedHarm>& AcceptedHarms() {
    static std::vector<AcceptedHarm> accepted = [] {
        std::vector<AcceptedHarm> all = Silences();
        const std::vector<AcceptedHarm> remains = Remains();
        all.insert(all.end(), remains.begin(), remains.end());
        return all;
    }();
    return accepted;
}

bool Accept(const Situation& situation, Harm harm) {
    for (AcceptedHarm& accepted : AcceptedHarms()) {
        if (std::count(accepted.harms.begin(), accepted.harms.end(), harm) != 0 &&
            accepted.applies(situation)) {
            ++accepted.needed[harm];
            return true;
        }
    }
    return false;
}

const char* ReasonOfRefusal(const std::string& text) {
    struct Refusal {
        const char* part;
        const char* reason;
    };
    constexpr Refusal kRefusals[] = {
        {"already exists", "what was to be made is there, or its file is"},
        {"does not exist", "what was to go has gone"},
        {"Inserted record violates UNIQUE constraint", "the record is there, or its key is"},
        {"Key not found during update", "the record is changed, and its key not yet: pack mends"},
        {"Record is not in index", "the record is changed, and its key not yet: pack mends"},
    };
    for (const Refusal& refusal : kRefusals) {
        if (text.find(refusal.part) != std::string::npos) {
            return refusal.reason;
        }
    }
    return nullptr;
}

}  // namespace ovrasql
