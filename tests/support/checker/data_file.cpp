#include "tests/support/checker/data_file.h"

#include <algorithm>
#include <set>

#include "tests/support/checker/bytes.h"

namespace ovrasql::checker {

namespace {

constexpr size_t kHeaderSize = 32;
constexpr size_t kDescriptorSize = 32;
constexpr size_t kNameRoom = 11;
constexpr uint8_t kEndMark = 0x1A;

bool IsNameByte(char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') || byte == '_';
}

bool WidthFits(const Column& column) {
    switch (column.type) {
        case 'C':
            return column.width >= 1;
        case 'N':
            return column.width >= 1 && column.width <= 19;
        case 'D':
            return column.width == 8;
        case 'L':
            return column.width == 1;
        case 'M':
            return column.width == 10;
        default:
            return false;
    }
}

std::string WithoutLeadingBlanks(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first);
}

std::string WithoutTrailingBlanks(const std::string& text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

bool HasOnly(const std::string& text, const char* bytes) {
    return text.find_first_not_of(bytes) == std::string::npos;
}

}  // namespace

DataFile::DataFile(const std::string& path, const FileBytes& bytes, Report* report)
    : path_(path),
      bytes_(bytes),
      version_(ByteAt(bytes, 0)),
      headerLength_(Number16(bytes, 8)),
      recordLength_(Number16(bytes, 10)) {
    CheckHeader(report);
    ReadColumns(report);
    CheckLength(report);
}

void DataFile::CheckHeader(Report* report) const {
    const auto add = [&](const std::string& text) {
        report->Add(FindingKind::kDataFile, path_, text);
    };
    if (bytes_.size() < kHeaderSize) {
        add("shorter than a header");
    }
    if (version_ != 0x03 && version_ != 0x83) {
        add("version byte " + std::to_string(version_));
    }
    if (ByteAt(bytes_, 2) < 1 || ByteAt(bytes_, 2) > 12 || ByteAt(bytes_, 3) < 1 ||
        ByteAt(bytes_, 3) > 31) {
        add("the last change has no such month or day");
    }
    if (!AllZero(bytes_, 12, 20)) {
        add("reserved bytes of the header are in use");
    }
    if (headerLength_ < kHeaderSize + 1 ||
        (headerLength_ - kHeaderSize - 1) % kDescriptorSize != 0) {
        add("header length " + std::to_string(headerLength_) + " is none of any columns");
    } else if (bytes_.size() < headerLength_) {
        add("shorter than its header");
    } else if (bytes_[headerLength_ - 1] != 0x0D) {
        add("no end of the header");
    }
}

void DataFile::ReadColumns(Report* report) {
    if (headerLength_ < kHeaderSize + 1 || bytes_.size() < headerLength_) {
        columnsHold_ = false;
        return;
    }
    size_t width = 1;
    std::set<std::string> names;
    const size_t count = (headerLength_ - kHeaderSize - 1) / kDescriptorSize;
    for (size_t index = 0; index < count; ++index) {
        const size_t at = kHeaderSize + index * kDescriptorSize;
        Column column;
        column.name = TextIn(bytes_, at, kNameRoom);
        column.type = static_cast<char>(ByteAt(bytes_, at + 11));
        column.width = ByteAt(bytes_, at + 16);
        column.decimals = ByteAt(bytes_, at + 17);
        column.offset = width;
        width += column.width;
        hasMemoColumn_ = hasMemoColumn_ || column.type == 'M';
        if (!names.insert(UpperCase(column.name)).second) {
            report->Add(FindingKind::kDataFile, path_, "two columns " + Shown(column.name));
        }
        CheckDescriptor(column, at, report);
        columnsHold_ = columnsHold_ && WidthFits(column);
        columns_.push_back(std::move(column));
    }
    if (hasMemoColumn_ != (version_ == 0x83)) {
        report->Add(FindingKind::kDataFile, path_,
                    hasMemoColumn_ ? "a memo column, and the version says none"
                                   : "no memo column, and the version says there is one");
    }
    if (recordLength_ != width) {
        columnsHold_ = false;
        report->Add(FindingKind::kDataFile, path_,
                    "record length " + std::to_string(recordLength_) + ", and the columns make " +
                        std::to_string(width));
    }
}

void DataFile::CheckDescriptor(const Column& column, size_t at, Report* report) const {
    const auto add = [&](const std::string& text) {
        report->Add(FindingKind::kDataFile, path_, "column " + Shown(column.name) + " " + text);
    };
    if (column.name.empty() || column.name.size() == kNameRoom ||
        !std::all_of(column.name.begin(), column.name.end(), IsNameByte) ||
        !AllZero(bytes_, at + column.name.size(), kNameRoom - column.name.size())) {
        add("is no name");
    }
    if (column.type == 0 || std::string("CNDLM").find(column.type) == std::string::npos) {
        add("has no known type");
    } else if (!WidthFits(column)) {
        add("has no width of its type: " + std::to_string(column.width));
    }
    const bool decimalsFit =
        column.decimals == 0 || (column.type == 'N' && column.decimals < column.width);
    if (!decimalsFit) {
        add("has " + std::to_string(column.decimals) + " decimals");
    }
    if (!AllZero(bytes_, at + 12, 4) || !AllZero(bytes_, at + 18, 14)) {
        add("has reserved bytes in use");
    }
}

// The count against the bytes that are there. A process that died while it appended leaves at most
// one record behind the last, over the end mark.
void DataFile::CheckLength(Report* report) {
    const uint32_t counted = Number32(bytes_, 4);
    if (!columnsHold_) {
        return;
    }
    const size_t room = bytes_.size() - headerLength_;
    const size_t whole = room / recordLength_;
    recordCount_ = static_cast<uint32_t>(std::min<size_t>(counted, whole));
    if (counted > whole) {
        report->Add(FindingKind::kDataFile, path_,
                    std::to_string(counted) + " records are counted, and " + std::to_string(whole) +
                        " are there");
        return;
    }
    const size_t end = headerLength_ + size_t{counted} * recordLength_;
    const size_t behind = bytes_.size() - end;
    if (behind == 1 && bytes_[end] == kEndMark) {
        return;
    }
    if (behind >= 1 && behind <= recordLength_ + 1 && bytes_[end] == ' ') {
        report->AddHarmless(FindingKind::kDataFile, path_, counted + 1,
                            std::to_string(behind) + " bytes behind the last counted record");
    } else {
        report->Add(
            FindingKind::kDataFile, path_,
            behind == 0 ? "no end mark" : std::to_string(behind) + " bytes behind the last record");
    }
}

const Column* DataFile::FindColumn(const std::string& name) const {
    const std::string wanted = UpperCase(name);
    for (const Column& column : columns_) {
        if (UpperCase(column.name) == wanted) {
            return &column;
        }
    }
    return nullptr;
}

size_t DataFile::RecordOffset(uint32_t record) const {
    return headerLength_ + (size_t{record} - 1) * recordLength_;
}

bool DataFile::IsLive(uint32_t record) const {
    return record >= 1 && record <= recordCount_ && bytes_[RecordOffset(record)] != '*';
}

std::string DataFile::Cell(uint32_t record, const Column& column) const {
    const auto start =
        bytes_.begin() + static_cast<std::ptrdiff_t>(RecordOffset(record) + column.offset);
    return std::string(start, start + static_cast<std::ptrdiff_t>(column.width));
}

// Behind a zero byte there are blanks, or nothing in a number.
std::string DataFile::Value(uint32_t record, const Column& column) const {
    std::string value = Cell(record, column);
    value = value.substr(0, value.find('\0'));
    if (column.type == 'C') {
        return WithoutTrailingBlanks(value);
    }
    if (column.type == 'N' || column.type == 'M') {
        return WithoutLeadingBlanks(value);
    }
    value.resize(column.width, ' ');
    return value;
}

void DataFile::CheckRecords(Report* report) const {
    for (uint32_t record = 1; record <= recordCount_; ++record) {
        const char flag = static_cast<char>(bytes_[RecordOffset(record)]);
        if (flag != ' ' && flag != '*') {
            report->AddRecord(FindingKind::kDataFile, path_, record, "a flag that is none");
        }
        if (flag == '*') {
            continue;
        }
        for (const Column& column : columns_) {
            const std::string fault = CellFault(record, column);
            if (!fault.empty()) {
                report->AddRecord(FindingKind::kDataFile, path_, record,
                                  column.name + " " + fault + ": " + Shown(Cell(record, column)));
            }
        }
    }
}

// What is wrong with a cell; empty when nothing is. Cells of blanks are what ALTER TABLE adds;
// numbers may be Infinity and NaN, as far as they fit.
std::string DataFile::CellFault(uint32_t record, const Column& column) const {
    const std::string cell = Cell(record, column);
    if (cell.find('\0') != std::string::npos) {
        return "holds a zero byte";
    }
    const std::string value = WithoutLeadingBlanks(cell);
    if (value.empty()) {
        return "";
    }
    switch (column.type) {
        case 'N':
            return HasOnly(value, "0123456789+-.eEInfityNa") ? "" : "is no number";
        case 'D':
            return HasOnly(cell, "0123456789") ? "" : "is no date";
        case 'L':
            return value == "T" || value == "F" ? "" : "is no boolean";
        case 'M':
            return HasOnly(value, "0123456789") && value[0] != '0' ? "" : "is no block number";
        default:
            return "";
    }
}

}  // namespace ovrasql::checker
