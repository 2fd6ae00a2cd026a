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

bool IsDefinition(const Situation& situation) {
    return KindOf(situation.step) == StepKind::kStatement && !IsChange(situation);
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
         {Harm::kRowsRead, Harm::kNotWhole},
         [](const Situation& s) {
             return s.ok && (IsReading(s) || IsChange(s)) &&
                    (FailedToRead(s, FilePart::kData) || FailedToRead(s, FilePart::kIndex));
         }},
        {"what such a walk does not find can't make a statement fail",
         {Harm::kNotRefused},
         [](const Situation& s) {
             return s.ok && (IsReading(s) || Begins(s.step, "update")) &&
                    (FailedToRead(s, FilePart::kData) || FailedToRead(s, FilePart::kIndex));
         }},
        {"a value that is made of a sub-query is that of the rows that were read",
         {Harm::kRowChanged},
         [](const Situation& s) {
             return s.ok && IsChange(s) && Contains(s.step, "(select") &&
                    (FailedToRead(s, FilePart::kData) || FailedToRead(s, FilePart::kIndex));
         }},
        {"a sub-query, or one side of a UNION, that gives fewer rows picks fewer of those to "
         "change",
         {Harm::kOrder},
         [](const Situation& s) {
             return s.ok && IsChange(s) &&
                    (Contains(s.step, "(select") || Contains(s.step, " union ")) &&
                    (FailedToRead(s, FilePart::kData) || FailedToRead(s, FilePart::kIndex));
         }},
        {"a memo text that can't be read is as much of it as was read",
         {Harm::kRowsRead, Harm::kNotWhole, Harm::kMemoText},
         [](const Situation& s) { return s.ok && FailedToRead(s, FilePart::kMemo); }},
        {"a record is stored although its memo text could not be written",
         {Harm::kMemoText, Harm::kMemoFile, Harm::kNotWhole},
         [](const Situation& s) { return IsChange(s) && FailedToWrite(s, FilePart::kMemo); }},
        {"a rebuild leaves out records, texts and keys that can't be written to the new files",
         {Harm::kRowLost, Harm::kMemoText, Harm::kMemoFile, Harm::kKeys, Harm::kIndexFile},
         [](const Situation& s) { return IsRebuild(s) && FailedToWrite(s, FilePart::kTemporary); }},
        {"a row of the catalog that can't be read ends a pack like the last row",
         {Harm::kNotWhole, Harm::kRowsRead},
         [](const Situation& s) {
             return s.ok && KindOf(s.step) == StepKind::kPack &&
                    FailedToRead(s, FilePart::kCatalogData);
         }},
        {"CREATE INDEX takes the first record that can't be read for the end of the table",
         {Harm::kKeys, Harm::kNotWhole, Harm::kNotRefused, Harm::kLeftByPack},
         [](const Situation& s) {
             return Begins(s.step, "create") && FailedToRead(s, FilePart::kData);
         }},
        {"DROP goes on where a file is not there, and DROP INDEX where it can't be deleted",
         {Harm::kFileLeft},
         [](const Situation& s) {
             return s.ok && Begins(s.step, "drop") &&
                    (FailedService(s, "ovFile_Exists") ||
                     (Begins(s.step, "drop index") && FailedService(s, "ovFile_Delete")));
         }},
        {"a value that finds no memory when the host asks for it is the empty text",
         {Harm::kRowsRead},
         [](const Situation& s) { return s.ok && s.outOfMemory && IsReading(s); }},
        {"a host that gives no variable gets no value",
         {Harm::kRowsRead},
         [](const Situation& s) {
             return s.ok && (FailedService(s, "ovDatabaseView_AddVariable") ||
                             FailedService(s, "ovVariable_Array_Element") ||
                             FailedService(s, "ovVariable_Struct_Member"));
         }},
    };
}

std::vector<AcceptedHarm> Remains() {
    return {
        {"what a definition or a rebuild has made before it failed stays",
         {Harm::kFileLeft},
         [](const Situation& s) { return !s.ok && (IsDefinition(s) || IsRebuild(s)); }},
        {"a record whose writing broke off is new in its first part and old in the rest",
         {Harm::kRowChanged, Harm::kMemoText},
         [](const Situation& s) { return !s.ok && Failed(s, FilePart::kData, {"ovFile_Write"}); }},
        {"a rebuild that fails between its renamings leaves new files beside old ones",
         {Harm::kKeys, Harm::kMemoText, Harm::kMemoFile, Harm::kRowLost, Harm::kDoesNotPack},
         [](const Situation& s) {
             return !s.ok && IsRebuild(s) &&
                    (FailedService(s, "ovFile_Rename") || FailedService(s, "ovFile_Delete"));
         }},
        {"a change of an index that fails in the middle leaves what has been written",
         {Harm::kIndexFile, Harm::kKeys},
         [](const Situation& s) {
             return !s.ok && IsChange(s) && (s.outOfMemory || FailedToWrite(s, FilePart::kIndex));
         }},
        {"a definition that fails while it writes the catalog leaves the row without its keys, or "
         "a page of an index half written; no pack mends the catalog",
         {Harm::kCatalogIndex, Harm::kCatalog, Harm::kLeftByPack, Harm::kDoesNotPack,
          Harm::kOtherStatement, Harm::kTableLost, Harm::kIndexFile},
         [](const Situation& s) {
             return !s.ok && IsDefinition(s) &&
                    (s.outOfMemory || FailedToWrite(s, FilePart::kCatalogData) ||
                     FailedToWrite(s, FilePart::kCatalogIndex));
         }},
        {"a database whose making failed is none, nor is the one that was there",
         {Harm::kFileLeft, Harm::kCatalogIndex, Harm::kCatalog, Harm::kLeftByPack,
          Harm::kDoesNotOpen, Harm::kDoesNotPack, Harm::kTableLost, Harm::kDataFile},
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
            ++accepted.needed;
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
