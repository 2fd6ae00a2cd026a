// Damages, each planted into a healthy database: the checker finds every one, by its kind, and in
// the file and record that it lies in. What it does not notice would be believed of the library.

#include <gtest/gtest.h>

#include <functional>

#include "tests/checker/planted_database.h"
#include "tests/support/script_session.h"

namespace ovrasql {
namespace {

using checker::Finding;
using checker::FindingKind;

constexpr FindingKind kDataFile = FindingKind::kDataFile;
constexpr FindingKind kMemo = FindingKind::kMemo;
constexpr FindingKind kIndex = FindingKind::kIndexStructure;
constexpr FindingKind kMissing = FindingKind::kMissingKey;
constexpr FindingKind kStale = FindingKind::kStaleKey;
constexpr FindingKind kCatalog = FindingKind::kCatalog;
constexpr FindingKind kUnlisted = FindingKind::kUnlistedFile;

const std::string kPeople = "people.dbf";
const std::string kPlain = "plain.dbf";
const std::string kNotes = "people.dbt";
const std::string kByName = "by_name.ovx";
const std::string kByAge = "by_age.ovx";
const std::string kByOld = "by_old.ovx";
const std::string kByAll = "by_all.ovx";
const std::string kByNote = "by_note.ovx";
const std::string kMain = "main.dbf";
const std::string kMainFirst = "main.ovx";
const std::string kMainSecond = "maini.ovx";

constexpr uint32_t kDeleted = 41;  // a deleted record of people

struct Damage {
    std::string name;
    FindingKind kind;
    std::string file;
    uint32_t record;  // 0 when the finding names none
    std::function<void(Planter&)> plant;
};

void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }

using Damages = std::vector<Damage>;

void AddHeaders(Damages& all) {
    const auto add = [&](const char* name, const std::function<void(Planter&)>& plant) {
        all.push_back({std::string("data_") + name, kDataFile, kPeople, 0, plant});
    };
    add("is_empty", [](Planter& p) { p.Resize(kPeople, 0); });
    add("is_half_a_header", [](Planter& p) { p.Resize(kPeople, 16); });
    add("ends_in_its_columns", [](Planter& p) { p.Resize(kPeople, 100); });
    add("of_another_version", [](Planter& p) { p.Set8(kPeople, 0, 0x30); });
    add("says_it_has_no_memos", [](Planter& p) { p.Set8(kPeople, 0, 0x03); });
    add("of_month_0", [](Planter& p) { p.Set8(kPeople, 2, 0); });
    add("of_month_13", [](Planter& p) { p.Set8(kPeople, 2, 13); });
    add("of_day_0", [](Planter& p) { p.Set8(kPeople, 3, 0); });
    add("of_day_32", [](Planter& p) { p.Set8(kPeople, 3, 32); });
    add("counts_one_more", [](Planter& p) { p.Set32(kPeople, 4, 62); });
    add("counts_two_less", [](Planter& p) { p.Set32(kPeople, 4, 59); });
    add("counts_none", [](Planter& p) { p.Set32(kPeople, 4, 0); });
    add("counts_four_billion", [](Planter& p) { p.Set32(kPeople, 4, 0xFFFFFFFF); });
    add("header_length_one_more", [](Planter& p) { p.Set16(kPeople, 8, 32 * 5 + 34); });
    add("header_length_a_column_less", [](Planter& p) { p.Set16(kPeople, 8, 32 * 4 + 33); });
    add("header_length_without_columns", [](Planter& p) { p.Set16(kPeople, 8, 33); });
    add("header_length_0", [](Planter& p) { p.Set16(kPeople, 8, 0); });
    add("header_length_past_the_end", [](Planter& p) { p.Set16(kPeople, 8, 32 * 2046 + 33); });
    add("record_length_one_more", [](Planter& p) { p.Set16(kPeople, 10, 36); });
    add("record_length_1", [](Planter& p) { p.Set16(kPeople, 10, 1); });
    add("record_length_0", [](Planter& p) { p.Set16(kPeople, 10, 0); });
    add("reserved_bytes_used", [](Planter& p) { p.Set8(kPeople, 20, 1); });
    add("header_without_an_end", [](Planter& p) { p.Set8(kPeople, 32 * 5 + 32, 0x20); });
    all.push_back({"data_says_it_has_memos", kDataFile, kPlain, 0,
                   [](Planter& p) { p.Set8(kPlain, 0, 0x83); }});
}

void AddColumns(Damages& all) {
    const auto add = [&](const char* name, size_t column, size_t offset, uint32_t value) {
        all.push_back({std::string("column_") + name, kDataFile, kPeople, 0, [=](Planter& p) {
                           p.Set8(kPeople, Planter::Descriptor(column) + offset, value);
                       }});
    };
    add("without_a_name", 0, 0, 0);
    add("with_a_small_letter", 0, 1, 'a');
    add("with_a_blank", 0, 1, ' ');
    add("with_bytes_behind_its_name", 0, 9, 'X');
    add("of_no_type", 0, 11, 0);
    add("of_an_unknown_type", 0, 11, 'F');
    add("that_turns_into_a_memo", 0, 11, 'M');
    add("that_was_a_memo", 4, 11, 'C');
    add("with_reserved_bytes_used", 1, 12, 1);
    add("wider_by_one", 0, 16, 13);
    add("of_width_0", 0, 16, 0);
    add("of_a_number_too_wide", 1, 16, 20);
    add("of_a_boolean_of_two", 2, 16, 2);
    add("with_all_digits_behind_the_point", 3, 17, 5);
    add("of_text_with_decimals", 0, 17, 2);
    add("with_reserved_bytes_at_the_end", 4, 31, 1);
    all.push_back({"column_of_a_name_that_is_there", kDataFile, kPeople, 0,
                   [](Planter& p) { p.SetText(kPeople, Planter::Descriptor(1), "NAME"); }});
    all.push_back({"column_of_a_name_without_an_end", kDataFile, kPeople, 0,
                   [](Planter& p) { p.SetText(kPeople, Planter::Descriptor(1), "ABCDEFGHIJK"); }});
    all.push_back({"columns_exchanged", kStale, kByName, 1, [](Planter& p) {
                       const std::string name = p.GetText(kPeople, Planter::Descriptor(0), 11);
                       const std::string age = p.GetText(kPeople, Planter::Descriptor(1), 11);
                       p.SetText(kPeople, Planter::Descriptor(0), age);
                       p.SetText(kPeople, Planter::Descriptor(1), name);
                   }});
}

void AddLengths(Damages& all) {
    const auto add = [&](const char* name, uint32_t record,
                         const std::function<void(Planter&)>& plant) {
        all.push_back({std::string("records_") + name, kDataFile, kPlain, record, plant});
    };
    add("gone", 0, [](Planter& p) { p.Resize(kPlain, 65); });
    add("cut_within_the_last", 0, [](Planter& p) { p.Cut(kPlain, 3); });
    add("without_an_end_mark", 0, [](Planter& p) { p.Cut(kPlain, 1); });
    add("with_another_end_mark", 0, [](Planter& p) { p.Set8(kPlain, p.Record(kPlain, 4), 0); });
    add("with_a_byte_behind", 0, [](Planter& p) { p.Append(kPlain, "x"); });
    add("with_another_file_behind", 0, [](Planter& p) { p.Append(kPlain, std::string(99, 'x')); });
    add("with_one_that_is_not_counted", 3, [](Planter& p) { p.Set32(kPlain, 4, 2); });
    add("with_a_begun_one_behind", 4, [](Planter& p) {
        p.Set8(kPlain, p.Record(kPlain, 4), ' ');
        p.Append(kPlain, "ne");
    });
}

void AddRecords(Damages& all) {
    const auto add = [&](const char* name, FindingKind kind, const std::string& file,
                         uint32_t record, const std::function<void(Planter&)>& plant) {
        all.push_back({std::string("record_") + name, kind, file, record, plant});
    };
    const auto cell = [](uint32_t record, size_t column, const char* text) {
        return [=](Planter& p) { p.SetText(kPeople, p.Cell(kPeople, record, column), text); };
    };
    add("with_a_strange_flag", kDataFile, kPeople, 7,
        [](Planter& p) { p.Set8(kPeople, p.Record(kPeople, 7), 'x'); });
    add("deleted_by_its_flag_alone", kStale, kByName, 7,
        [](Planter& p) { p.Set8(kPeople, p.Record(kPeople, 7), '*'); });
    add("revived_by_its_flag_alone", kMissing, kByName, kDeleted,
        [](Planter& p) { p.Set8(kPeople, p.Record(kPeople, kDeleted), ' '); });
    add("with_letters_in_a_number", kDataFile, kPeople, 9, cell(9, 3, "1.x5 "));
    add("with_a_number_on_the_left", kDataFile, kPeople, 9, cell(9, 1, "90   "));
    add("with_a_strange_boolean", kDataFile, kPeople, 9, cell(9, 2, "Y"));
    add("with_a_zero_byte", kDataFile, kPeople, 9,
        [](Planter& p) { p.Set8(kPeople, p.Cell(kPeople, 9, 0) + 2, 0); });
    add("with_another_text", kStale, kByName, 9, cell(9, 0, "zzz"));
    add("with_another_text_lacks_its_key", kMissing, kByName, 9, cell(9, 0, "zzz"));
    add("with_another_number", kStale, kByAge, 9, cell(9, 1, "   91"));
    add("with_another_boolean", kStale, kByAll, 9, cell(9, 2, "F"));
    add("with_another_memo", kStale, kByNote, 9,
        [](Planter& p) { p.SetText(kNotes, 512 * 10, "other"); });
    add("with_a_memo_that_is_no_number", kDataFile, kPeople, 9, cell(9, 4, "        x1"));
    add("with_a_memo_in_block_0", kDataFile, kPeople, 9, cell(9, 4, "         0"));
    add("with_a_memo_on_the_left", kDataFile, kPeople, 9, cell(9, 4, "10        "));
    add("of_zeros", kDataFile, kPeople, 9,
        [](Planter& p) { p.SetText(kPeople, p.Record(kPeople, 9), std::string(35, '\0')); });
    add("of_another_record", kStale, kByAge, 9, [](Planter& p) {
        p.SetText(kPeople, p.Record(kPeople, 9), p.GetText(kPeople, p.Record(kPeople, 10), 35));
    });
    add("twice_in_a_unique_index", kIndex, kByAge, 10, [](Planter& p) {
        p.SetText(kPeople, p.Cell(kPeople, 10, 1), "   90");
        p.SetText(kByAge, p.PlaceOfKey(kByAge, "00100"), "00090");
    });
    add("torn_by_a_byte", kDataFile, kPeople, 20, [](Planter& p) {
        FileBytes& bytes = p.File(kPeople);
        bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(p.Record(kPeople, 20)));
        bytes.push_back(0x1A);
    });
}

void AddMemos(Damages& all) {
    const auto add = [&](const char* name, const std::string& file, uint32_t record,
                         const std::function<void(Planter&)>& plant) {
        all.push_back({std::string("memo_") + name, kMemo, file, record, plant});
    };
    const auto block = [](uint32_t record, const char* number) {
        return [=](Planter& p) { p.SetText(kPeople, p.Cell(kPeople, record, 4), number); };
    };
    add("file_missing", kNotes, 0, [](Planter& p) { p.Remove(kNotes); });
    add("file_empty", kNotes, 0, [](Planter& p) { p.Resize(kNotes, 0); });
    add("file_of_half_a_header", kNotes, 0, [](Planter& p) { p.Resize(kNotes, 256); });
    add("file_without_texts", kNotes, 1, [](Planter& p) { p.Resize(kNotes, 513); });
    add("next_block_0", kNotes, 0, [](Planter& p) { p.Set32(kNotes, 0, 0); });
    add("next_block_1", kNotes, 1, [](Planter& p) { p.Set32(kNotes, 0, 1); });
    add("next_block_too_small", kNotes, 61, [](Planter& p) { p.Set32(kNotes, 0, 62); });
    add("next_block_too_great", kNotes, 0, [](Planter& p) { p.Set32(kNotes, 0, 65); });
    add("next_block_four_billion", kNotes, 0, [](Planter& p) { p.Set32(kNotes, 0, 0xFFFFFFFF); });
    add("header_in_use", kNotes, 0, [](Planter& p) { p.Set8(kNotes, 511, 1); });
    add("last_text_cut", kNotes, 61, [](Planter& p) { p.Cut(kNotes, 3); });
    add("last_text_gone", kNotes, 61, [](Planter& p) { p.Resize(kNotes, 512 * 62); });
    add("text_runs_into_the_next", kNotes, 2,
        [](Planter& p) { p.SetText(kNotes, 512 + 6, std::string(506, 'x')); });
    add("text_with_a_zero_byte", kNotes, 5, [](Planter& p) { p.Set8(kNotes, 512 * 6 + 2, 0); });
    add("end_mark_zeroed", kNotes, 5, [](Planter& p) { p.Set8(kNotes, 512 * 6 + 6, 0); });
    add("file_of_zeros", kNotes, 5,
        [](Planter& p) { p.SetText(kNotes, 0, std::string(p.File(kNotes).size(), '\0')); });
    add("shared_by_two_records", kNotes, 9, block(9, "         9"));
    add("inside_another_text", kNotes, 9, block(9, "         3"));
    add("behind_the_last", kNotes, 9, block(9, "        63"));
    add("far_behind_the_file", kNotes, 9, block(9, "9999999999"));
    add("bytes_behind_the_texts", kNotes, 0,
        [](Planter& p) { p.Append(kNotes, std::string(600, 'x')); });
}

void AddIndexHeaders(Damages& all) {
    const auto add = [&](const char* name, const std::function<void(Planter&)>& plant) {
        all.push_back({std::string("index_") + name, kIndex, kByName, 0, plant});
    };
    add("file_empty", [](Planter& p) { p.Resize(kByName, 0); });
    add("file_of_a_header", [](Planter& p) { p.Resize(kByName, 427); });
    add("file_without_pages", [](Planter& p) { p.Resize(kByName, 1024); });
    add("magic", [](Planter& p) { p.SetText(kByName, 0, "OVXJ"); });
    add("version_4", [](Planter& p) { p.Set8(kByName, 4, 4); });
    add("version_2", [](Planter& p) { p.Set8(kByName, 4, 2); });
    add("next_page_0", [](Planter& p) { p.Set32(kByName, 9, 0); });
    add("next_page_one_less", [](Planter& p) { p.Set32(kByName, 9, p.Get32(kByName, 9) - 1); });
    add("next_page_one_more", [](Planter& p) { p.Set32(kByName, 9, p.Get32(kByName, 9) + 1); });
    add("next_page_four_billion", [](Planter& p) { p.Set32(kByName, 9, 0xFFFFFFFF); });
    add("root_0", [](Planter& p) { p.Set32(kByName, 13, 0); });
    add("root_past_the_end", [](Planter& p) { p.Set32(kByName, 13, 5000); });
    add("root_is_a_leaf", [](Planter& p) { p.Set32(kByName, 13, p.FirstLeaf(kByName)); });
    add("order_7", [](Planter& p) { p.Set16(kByName, 17, 7); });
    add("order_0", [](Planter& p) { p.Set16(kByName, 17, 0); });
    add("page_size_512", [](Planter& p) { p.Set16(kByName, 19, 512); });
    add("page_size_0", [](Planter& p) { p.Set16(kByName, 19, 0); });
    add("entry_size_0", [](Planter& p) { p.Set16(kByName, 21, 0); });
    add("turned_unique", [](Planter& p) { p.Set32(kByName, 23, 5); });
    add("turned_descending", [](Planter& p) { p.Set32(kByName, 23, 6); });
    add("turned_numeric", [](Planter& p) { p.Set32(kByName, 23, 0); });
    add("with_unknown_flags", [](Planter& p) { p.Set32(kByName, 23, 12); });
    add("of_another_column", [](Planter& p) { p.SetText(kByName, 27, "toupper( d.NOTE )"); });
    add("without_an_expression",
        [](Planter& p) { p.SetText(kByName, 27, std::string(400, '\0')); });
    add("expression_that_fills_its_room",
        [](Planter& p) { p.SetText(kByName, 27, "toupper( " + std::string(391, 'x')); });
    add("bytes_behind_the_expression", [](Planter& p) { p.Set8(kByName, 27 + 399, 1); });
    add("bytes_behind_the_header", [](Planter& p) { p.Set8(kByName, 700, 1); });
    add("last_page_cut", [](Planter& p) { p.Cut(kByName, 1); });
    add("last_page_gone", [](Planter& p) { p.Cut(kByName, 1024); });
    add("half_its_pages_gone", [](Planter& p) { p.Resize(kByName, 5 * 1024); });
    add("with_a_page_behind", [](Planter& p) { p.Append(kByName, std::string(1024, '\0')); });
}

void AddPages(Damages& all) {
    const auto add = [&](const char* name, FindingKind kind,
                         const std::function<void(Planter&)>& plant) {
        all.push_back({std::string("page_") + name, kind, kByName, 0, plant});
    };
    const auto leaf = [](Planter& p) { return p.FirstLeaf(kByName); };
    const auto root = [](Planter& p) { return p.Root(kByName); };
    add("of_nine_keys", kIndex, [=](Planter& p) { p.Set32(kByName, Planter::Page(leaf(p)), 9); });
    add("of_four_billion_keys", kIndex,
        [=](Planter& p) { p.Set32(kByName, Planter::Page(leaf(p)), 0xFFFFFFFF); });
    add("of_two_keys", kIndex, [=](Planter& p) { p.Set32(kByName, Planter::Page(leaf(p)), 2); });
    add("of_no_keys", kIndex, [=](Planter& p) { p.Set32(kByName, Planter::Page(leaf(p)), 0); });
    add("with_a_key_less", kMissing, [=](Planter& p) {
        p.Set32(kByName, Planter::Page(p.LastLeaf(kByName)),
                p.Count(kByName, p.LastLeaf(kByName)) - 1);
    });
    add("of_zeros", kMissing,
        [=](Planter& p) { p.SetText(kByName, Planter::Page(leaf(p)), std::string(1024, '\0')); });
    add("of_noise", kIndex,
        [=](Planter& p) { p.SetText(kByName, Planter::Page(leaf(p)), std::string(1024, '\xA5')); });
    add("root_without_keys", kIndex,
        [=](Planter& p) { p.Set32(kByName, Planter::Page(root(p)), 0); });
    add("child_past_the_end", kIndex,
        [=](Planter& p) { p.Set32(kByName, Planter::Entry(root(p), 0), 5000); });
    add("child_is_the_header", kMissing,
        [=](Planter& p) { p.Set32(kByName, Planter::Entry(root(p), 1), 0); });
    add("child_is_the_page_itself", kIndex,
        [=](Planter& p) { p.Set32(kByName, Planter::Entry(root(p), 0), root(p)); });
    add("child_of_two_keys", kIndex, [=](Planter& p) {
        p.Set32(kByName, Planter::Entry(root(p), 1), p.Child(kByName, root(p), 0));
    });
    add("children_exchanged", kIndex, [=](Planter& p) {
        const uint32_t first = p.Child(kByName, root(p), 0);
        p.Set32(kByName, Planter::Entry(root(p), 0), p.Child(kByName, root(p), 1));
        p.Set32(kByName, Planter::Entry(root(p), 1), first);
    });
    add("rightmost_child_lost", kIndex, [=](Planter& p) {
        p.Set32(kByName, Planter::Entry(root(p), p.Count(kByName, root(p))), 0);
    });
    add("leaf_with_a_child", kIndex,
        [=](Planter& p) { p.Set32(kByName, Planter::Entry(leaf(p), 0), root(p)); });
    add("keys_exchanged", kIndex, [=](Planter& p) {
        const std::string first = p.GetText(kByName, Planter::RecordOf(leaf(p), 0), 104);
        const std::string second = p.GetText(kByName, Planter::RecordOf(leaf(p), 1), 104);
        p.SetText(kByName, Planter::RecordOf(leaf(p), 0), second);
        p.SetText(kByName, Planter::RecordOf(leaf(p), 1), first);
    });
    add("key_without_an_end", kIndex, [=](Planter& p) {
        p.SetText(kByName, Planter::KeyOf(p.LastLeaf(kByName), 0), std::string(100, 'Z'));
    });
    all.push_back({"page_leaf_on_a_level_of_its_own", kIndex, kByAge, 0, [](Planter& p) {
                       p.Set32(kByAge, Planter::Entry(p.Root(kByAge), 0), p.FirstLeaf(kByAge));
                   }});
    add("key_of_the_root_out_of_order", kIndex,
        [=](Planter& p) { p.SetText(kByName, Planter::KeyOf(root(p), 0), "ZZZ"); });
}

void AddKeys(Damages& all) {
    const auto add = [&](const char* name, const std::string& file,
                         const std::function<void(Planter&)>& plant) {
        all.push_back({std::string("key_") + name, kStale, file, 0, plant});
    };
    add("of_another_letter", kByName,
        [](Planter& p) { p.Set8(kByName, Planter::KeyOf(p.FirstLeaf(kByName), 0) + 3, 'X'); });
    add("in_small_letters", kByName,
        [](Planter& p) { p.Set8(kByName, Planter::KeyOf(p.LastLeaf(kByName), 0) + 1, 'n'); });
    add("that_is_empty", kByName,
        [](Planter& p) { p.Set8(kByName, Planter::KeyOf(p.FirstLeaf(kByName), 0), 0); });
    add("longer_by_a_letter", kByName, [](Planter& p) {
        const size_t key = Planter::KeyOf(p.FirstLeaf(kByName), 0);
        const std::string text = p.GetText(kByName, key, 100);
        p.SetText(kByName, key + text.find('\0'), std::string("0\0", 2));
    });
    add("without_its_zeros", kByAge, [](Planter& p) {
        p.SetText(kByAge, Planter::KeyOf(p.FirstLeaf(kByAge), 0), std::string("10\0", 3));
    });
    add("of_an_equal_number", kByOld, [](Planter& p) {
        p.SetText(kByOld, Planter::KeyOf(p.FirstLeaf(kByOld), 0), std::string("610.0\0", 6));
    });
    add("without_its_colons", kByAll,
        [](Planter& p) { p.Set8(kByAll, Planter::KeyOf(p.FirstLeaf(kByAll), 0) + 1, ' '); });
    add("of_half_a_memo", kByNote,
        [](Planter& p) { p.Set8(kByNote, Planter::KeyOf(p.FirstLeaf(kByNote), 0) + 4, 0); });
    add("of_another_record", kByName,
        [](Planter& p) { p.Set32(kByName, Planter::RecordOf(p.FirstLeaf(kByName), 0), 5); });
    add("of_record_0", kByName,
        [](Planter& p) { p.Set32(kByName, Planter::RecordOf(p.FirstLeaf(kByName), 0), 0); });
    add("of_a_record_past_the_last", kByName,
        [](Planter& p) { p.Set32(kByName, Planter::RecordOf(p.FirstLeaf(kByName), 0), 62); });
    add("of_a_deleted_record", kByName,
        [](Planter& p) { p.Set32(kByName, Planter::RecordOf(p.FirstLeaf(kByName), 0), kDeleted); });
    add("that_is_there_twice", kByName, [](Planter& p) {
        const uint32_t leaf = p.FirstLeaf(kByName);
        p.SetText(kByName, Planter::RecordOf(leaf, 0),
                  p.GetText(kByName, Planter::RecordOf(leaf, 1), 104));
    });
    all.push_back({"keys_of_another_index", kStale, kByName, 0,
                   [](Planter& p) { p.File(kByName) = p.File(kByNote); }});
    all.push_back({"keys_of_an_empty_index", kMissing, kByName, 1, [](Planter& p) {
                       p.Resize(kByName, 2048);
                       p.Set32(kByName, 9, 2);
                       p.Set32(kByName, 13, 1);
                       p.SetText(kByName, 1024, std::string(1024, '\0'));
                   }});
    all.push_back({"keys_of_the_catalog_lost", kMissing, kMainFirst, 1, [](Planter& p) {
                       p.Resize(kMainFirst, 2048);
                       p.Set32(kMainFirst, 9, 2);
                       p.Set32(kMainFirst, 13, 1);
                       p.SetText(kMainFirst, 1024, std::string(1024, '\0'));
                   }});
    all.push_back({"key_of_the_catalog_changed", kStale, kMainFirst, 0, [](Planter& p) {
                       p.Set8(kMainFirst, Planter::KeyOf(p.FirstLeaf(kMainFirst), 0) + 3, 'x');
                   }});
    all.push_back({"key_of_the_catalog_names_another_row", kStale, kMainSecond, 0, [](Planter& p) {
                       p.Set32(kMainSecond, Planter::RecordOf(p.LastLeaf(kMainSecond), 0), 1);
                   }});
}

void AddCatalogRows(Damages& all) {
    const auto add = [&](const char* name, const char* row, size_t column, const char* text) {
        all.push_back({std::string("catalog_") + name, kCatalog, kMain, 0, [=](Planter& p) {
                           p.SetText(kMain, p.Cell(kMain, p.RowOf(row), column), text);
                       }});
    };
    add("row_of_no_type", "plain", 0, "X");
    add("table_turned_index", "plain", 0, "I");
    add("index_turned_table", "by_name", 0, "T");
    add("table_without_a_name", "plain", 1, "     ");
    add("table_of_another_name", "people", 1, "nobody");
    add("table_of_a_name_that_is_there", "plain", 1, "PEOPLE");
    add("table_with_an_index", "plain", 2, "by_what");
    add("table_without_a_file", "plain", 3, "         ");
    add("table_with_the_file_of_another", "plain", 3, "people.dbf");
    add("table_with_columns", "plain", 4, "WORD");
    add("table_with_flags", "plain", 5, "                  4");
    add("index_without_a_name", "by_name", 2, "       ");
    add("index_of_a_name_that_is_there", "by_name", 2, "by_all ");
    add("index_of_no_table", "by_name", 1, "nobody");
    add("index_of_another_table", "by_name", 1, "plain ");
    add("index_with_the_file_of_another", "by_name", 3, "by_all.ovx ");
    add("index_without_columns", "by_name", 4, "    ");
    add("index_of_an_unknown_column", "by_name", 4, "NEMO");
    add("index_without_flags", "by_name", 5, "                   ");
    add("index_of_flags_9", "by_name", 5, "                  9");
    add("index_of_flags_for_numbers", "by_name", 5, "                  0");
    const auto file = [&](const char* name, const std::string& path, const char* row,
                          const char* text) {
        all.push_back({std::string("catalog_") + name, kCatalog, path, 0, [=](Planter& p) {
                           p.SetText(kMain, p.Cell(kMain, p.RowOf(row), 3), text);
                       }});
    };
    file("table_with_a_file_that_is_not_there", "nobody.dbf", "people", "nobody.dbf");
    file("table_with_the_file_of_the_catalog", kMain, "plain", "main.dbf ");
    file("index_with_a_file_that_is_not_there", "nobody.ovx", "by_name", "nobody.ovx ");
    all.push_back({"catalog_index_of_other_columns", kIndex, kByName, 0, [](Planter& p) {
                       p.SetText(kMain, p.Cell(kMain, p.RowOf("by_name"), 4), "NOTE");
                   }});
    all.push_back({"catalog_index_of_other_flags", kIndex, kByName, 0, [](Planter& p) {
                       p.SetText(kMain, p.Cell(kMain, p.RowOf("by_name"), 5) + 18, "5");
                   }});
    all.push_back({"catalog_table_deleted", kUnlisted, kPlain, 0,
                   [](Planter& p) { p.Set8(kMain, p.Record(kMain, p.RowOf("plain")), '*'); }});
    all.push_back({"catalog_index_deleted", kUnlisted, kByName, 0,
                   [](Planter& p) { p.Set8(kMain, p.Record(kMain, p.RowOf("by_name")), '*'); }});
    all.push_back({"catalog_of_other_columns", kCatalog, kMain, 0,
                   [](Planter& p) { p.SetText(kMain, Planter::Descriptor(3), "PATH"); }});
    all.push_back({"catalog_cut", kDataFile, kMain, 0, [](Planter& p) { p.Cut(kMain, 700); }});
}

void AddFiles(Damages& all) {
    const auto lost = [&](const std::string& path, FindingKind kind) {
        all.push_back({"file_lost_" + path.substr(0, path.find('.')) + path.substr(path.size() - 3),
                       kind, path, 0, [=](Planter& p) { p.Remove(path); }});
    };
    lost(kMain, kCatalog);
    lost(kMainFirst, kCatalog);
    lost(kMainSecond, kCatalog);
    lost(kPeople, kCatalog);
    lost(kByAll, kCatalog);
    const auto extra = [&](const char* name, const std::string& path) {
        all.push_back({std::string("file_unlisted_") + name, kUnlisted, path, 0,
                       [=](Planter& p) { p.Files()[path] = p.File(kPlain); }});
    };
    extra("table", "extra.dbf");
    extra("index", "extra.ovx");
    extra("memo", "plain.dbt");
    extra("temporary", "temporary7");
    extra("in_a_folder", "far/off.dbf");
}

const Damages& AllDamages() {
    static const Damages all = [] {
        Damages damages;
        AddHeaders(damages);
        AddColumns(damages);
        AddLengths(damages);
        AddRecords(damages);
        AddMemos(damages);
        AddIndexHeaders(damages);
        AddPages(damages);
        AddKeys(damages);
        AddCatalogRows(damages);
        AddFiles(damages);
        return damages;
    }();
    return all;
}

bool Matches(const Damage& damage, const Finding& finding) {
    return finding.kind == damage.kind && finding.file == damage.file &&
           (damage.record == 0 || finding.record == damage.record);
}

class PlantedDamage : public testing::TestWithParam<Damage> {};

TEST_P(PlantedDamage, IsFound) {
    FileMap files = HealthyFiles();
    Planter planter(&files);
    GetParam().plant(planter);
    const std::vector<Finding> findings = checker::CheckDatabase(files, kMain);
    EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), [](const Finding& finding) {
        return Matches(GetParam(), finding);
    })) << checker::Describe(findings);
    (void)checker::ReadTables(files, kMain);
}

INSTANTIATE_TEST_SUITE_P(All, PlantedDamage, testing::ValuesIn(AllDamages()),
                         [](const auto& damage) { return damage.param.name; });

TEST(PlantedDamages, AreMoreThanAHundredAndTheUndamagedDatabaseIsSilent) {
    EXPECT_GT(AllDamages().size(), 100U);
    EXPECT_EQ(checker::Describe(checker::CheckDatabase(HealthyFiles(), kMain)), "");
    std::cout << AllDamages().size() << " planted damages" << std::endl;
}

}  // namespace
}  // namespace ovrasql
