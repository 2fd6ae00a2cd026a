// Memo files and memo fields: blocks and their bytes, the order of host calls, and the two texts.

#include <limits>

#include "storage/memo_text.h"
#include "tests/storage/data_support.h"

namespace ovrasql {
namespace {

class Memo : public DataTest {
  protected:
    // A table with one memo column, open, without records.
    void SetUp() override {
        DataTest::SetUp();
        ColumnList columns;
        columns.Add("A", 0, 3).Add("M", 4, 10);
        table_ = std::make_unique<OvraSQLTable>(database_);
        ASSERT_TRUE(table_->Create("t.dbf", columns));
        field_ = dynamic_cast<OvraSQLMemoField*>(table_->FindField("M"));
        ASSERT_NE(field_, nullptr);
        TheHost().ClearLog();
    }
    void TearDown() override {
        table_.reset();
        DataTest::TearDown();
    }
    std::string Read(int32_t block) {
        MemoText text;
        EXPECT_TRUE(table_->ReadMemo(block, text)) << table_->Error().CText();
        return Text(text.Bytes());
    }
    std::string Append(TextView text) {
        field_->SetValue(text);
        EXPECT_TRUE(table_->AppendRecord()) << table_->Error().CText();
        return CellOf(table_->RecordCount());
    }
    // The ten bytes of the memo column in the file.
    static std::string CellOf(uint32_t record) {
        return TheHost().FileText("t.dbf").substr(97 + (record - 1) * 14 + 4, 10);
    }
    static std::string MemoFile() { return TheHost().FileText("t.dbt"); }
    // Two more reads succeed; this host never gives a negative count by itself.
    static void FailFromTheThirdReadOn() {
        static int32_t calls;
        calls = 0;
        hostServices.ovFile_Read = [](void* file, void* buffer, int32_t length) -> int32_t {
            return ++calls > 2 ? -1 : ::ovFile_Read(file, buffer, length);
        };
        TheHost().SetErrorText("gone");
    }

    std::unique_ptr<OvraSQLTable> table_;
    OvraSQLMemoField* field_ = nullptr;
};

TEST_F(Memo, ATextGoesToTheNextFreeBlockUnderTheExclusiveLock) {
    EXPECT_EQ(table_->WriteMemo("Hello"), 1);
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Lock t.dbt mode 2 at 0 length 512\n"
              "ovFile_Seek t.dbt at 0\n"
              "ovFile_Read t.dbt at 0 length 512\n"
              "ovFile_Seek t.dbt at 512\n"
              "ovFile_Write t.dbt at 512 length 7\n"
              "ovFile_Seek t.dbt at 0\n"
              "ovFile_Write t.dbt at 0 length 512\n"
              "ovFile_Release t.dbt at 0 length 512\n");
    // The end mark at 512 is overwritten, and the block is not filled up.
    EXPECT_EQ(Hex(MemoFile().substr(0, 4)), "02 00 00 00");
    EXPECT_EQ(MemoFile().substr(4, 508), std::string(508, '\0'));
    EXPECT_EQ(Hex(MemoFile().substr(512)), "48 65 6C 6C 6F 1A 1A");
    EXPECT_EQ(table_->WriteMemo("Hello"), 2);  // the same text takes a second place
    EXPECT_EQ(MemoFile().substr(512),
              std::string("Hello\x1A\x1A") + std::string(505, '\0') + "Hello\x1A\x1A");
}

TEST_F(Memo, ATextTakesItsLengthAndTwoBytesInWholeBlocks) {
    struct {
        int32_t length;
        uint32_t blocks;
    } const cases[] = {{1, 1}, {510, 1}, {511, 2}, {1022, 2}, {1023, 3}};
    uint32_t next = 1;
    for (const auto& c : cases) {
        const std::string text(static_cast<size_t>(c.length), 'x');
        EXPECT_EQ(table_->WriteMemo(text.c_str()), static_cast<int32_t>(next));
        next += c.blocks;
        EXPECT_EQ(table_->NextFreeMemoBlock(), next) << c.length;
        EXPECT_EQ(Read(static_cast<int32_t>(next - c.blocks)), text);
    }
}

TEST_F(Memo, ReadingGoesIn512ByteStepsWithoutALock) {
    const std::string text(600, 'y');
    ASSERT_EQ(table_->WriteMemo(text.c_str()), 1);
    TheHost().ClearLog();
    EXPECT_EQ(Read(1), text);
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Seek t.dbt at 512\n"
              "ovFile_Read t.dbt at 512 length 512\n"
              "ovFile_Read t.dbt at 1024 length 512\n");
}

TEST_F(Memo, TextsOfEverySizeAroundABlockComeBackWhole) {
    for (int32_t length = 1;
         length<2600; length += length % 512> 500 || length % 512 < 8 ? 1 : 61) {
        std::string text;
        for (int32_t i = 0; i < length; ++i) {
            text += static_cast<char>('a' + (i * 7 + length) % 26);
        }
        const int32_t block = table_->WriteMemo(text.c_str());
        ASSERT_GT(block, 0);
        EXPECT_EQ(Read(block), text) << length;
    }
}

TEST_F(Memo, OneEndByteOrTheFilesEndIsEnough) {
    TheHost().SetFile("t.dbt", std::string(512, '\0') + "abc\x1A junk");
    EXPECT_EQ(Read(1), "abc");
    TheHost().SetFile("t.dbt", std::string(512, '\0') + std::string(700, 'z'));
    EXPECT_EQ(Read(1), std::string(700, 'z'));
    EXPECT_EQ(Read(2), std::string(188, 'z'));
    EXPECT_EQ(Read(3), "");  // past the end
    EXPECT_EQ(Read(std::numeric_limits<int32_t>::max()), "");
}

TEST_F(Memo, ATextWithTheEndByteInItComesBackCut) {
    EXPECT_EQ(table_->WriteMemo("ab\x1A"
                                "cd"),
              1);
    EXPECT_EQ(Hex(MemoFile().substr(512)), "61 62 1A 63 64 1A 1A");
    EXPECT_EQ(Read(1), "ab");
}

TEST_F(Memo, AnOwnNulEndsWhatIsStored) {
    EXPECT_EQ(table_->WriteMemo(TextView("ab\0cd", 5)), 1);
    EXPECT_EQ(Hex(MemoFile().substr(512)), "61 62 1A 1A");
}

TEST_F(Memo, AFailedReadGivesWhatCameAndTheMessage) {
    const std::string text(1200, 'q');
    ASSERT_EQ(table_->WriteMemo(text.c_str()), 1);
    MemoText read;
    TheHost().FailCall("ovFile_Seek", 1);
    EXPECT_FALSE(table_->ReadMemo(1, read));
    EXPECT_EQ(Text(table_->Error()), "Error reading from 't.dbt': Injected failure");
    EXPECT_FALSE(read.IsLoaded());
    FailFromTheThirdReadOn();
    EXPECT_FALSE(table_->ReadMemo(1, read));
    EXPECT_EQ(Text(table_->Error()), "Error reading from 't.dbt': gone");
    EXPECT_EQ(Text(read.Bytes()), std::string(1024, 'q'));
    // Nor more than was asked for, which would run past the buffer.
    hostServices.ovFile_Read = [](void*, void*, int32_t length) -> int32_t { return length + 1; };
    EXPECT_FALSE(table_->ReadMemo(1, read));
    BindHostServices(nullptr);
}

TEST_F(Memo, ANegativeBlockIsAReadErrorWithoutACall) {
    MemoText text;
    TheHost().SetErrorText("none");
    EXPECT_FALSE(table_->ReadMemo(-1, text));
    EXPECT_EQ(Text(table_->Error()), "Error reading from 't.dbt': none");
    EXPECT_EQ(TheHost().LogText(), "");
}

TEST_F(Memo, AnotherProcessIsNotOverwritten) {
    OvraSQLTable other(database_);
    TheHost().SetCurrentProcess(1);
    ASSERT_TRUE(other.Open("t.dbf", 3));
    ASSERT_EQ(table_->WriteMemo("mine"), 1);
    EXPECT_EQ(other.NextFreeMemoBlock(), 1U);
    EXPECT_EQ(other.WriteMemo("theirs"), 2);
    EXPECT_EQ(table_->WriteMemo("mine again"), 3);
    EXPECT_EQ(Read(2), "theirs");
}

TEST_F(Memo, ARefusedLockIsAFailureWithoutAMessage) {
    TheHost().RefuseLocks(true);
    EXPECT_EQ(table_->WriteMemo("text"), -1);
    EXPECT_TRUE(table_->Error().IsEmpty());
    EXPECT_EQ(TheHost().CallCount("ovFile_Write"), 0);
}

// A text whose header can't be read still goes to the place known from before, but nobody points to
// it.
TEST_F(Memo, AFailedHeaderReadWritesOnButIsAFailure) {
    TheHost().FailCall("ovFile_Read", 1);
    EXPECT_EQ(table_->WriteMemo("text"), -1);
    EXPECT_EQ(MemoFile().substr(512), "text\x1A\x1A");
    EXPECT_EQ(Hex(MemoFile().substr(0, 4)), "02 00 00 00");
    EXPECT_TRUE(TheHost().Locks().empty());
}

TEST_F(Memo, AFailedWriteIsAFailure) {
    for (int call = 1; call <= 2; ++call) {
        TheHost().FailCall("ovFile_Write", call, FailureKind::kShortByOne);
        EXPECT_EQ(table_->WriteMemo("text"), -1);
    }
    for (int call = 2; call <= 3; ++call) {
        TheHost().FailCall("ovFile_Seek", call);
        EXPECT_EQ(table_->WriteMemo("text"), -1);
    }
    EXPECT_TRUE(TheHost().Locks().empty());
    TheHost().FailCall("ovFile_Write", 1);
    EXPECT_FALSE(table_->WriteMemoHeader());
    EXPECT_EQ(Text(table_->Error()), "Error writing to 't.dbt': Injected failure");
}

// The place of a text that was written in part is not used again.
TEST_F(Memo, AFailedTextStillTakesItsBlocks) {
    TheHost().FailCall("ovFile_Write", 1, FailureKind::kHalf);
    EXPECT_EQ(table_->WriteMemo(std::string(600, 'x').c_str()), -1);
    EXPECT_EQ(Hex(MemoFile().substr(0, 4)), "03 00 00 00");
    EXPECT_EQ(table_->WriteMemo("text"), 3);
}

TEST_F(Memo, ADamagedNextFreeBlockDoesNoHarm) {
    TheHost().SetFile("t.dbt", std::string(513, '\0'));  // 0: that is the header itself
    EXPECT_EQ(table_->WriteMemo("text"), 1);
    for (const char* header : {"FFFFFFFF", "FFFFFF7F", "00000080"}) {
        TheHost().SetFile("t.dbt", FromHex(header) + std::string(509, '\0'));
        TheHost().ClearLog();
        EXPECT_EQ(table_->WriteMemo("text"), -1) << header;
        EXPECT_EQ(TheHost().CallCount("ovFile_Write"), 0);
        EXPECT_TRUE(TheHost().Locks().empty());
    }
    // 2^31 - 2 is the last one that leaves a block for the next.
    TheHost().SetFile("t.dbt", FromHex("FEFFFF7F") + std::string(509, '\0'));
    TheHost().FailCall("ovFile_Write", 1);  // no such file in memory
    TheHost().ClearLog();
    EXPECT_EQ(table_->WriteMemo("text"), -1);
    EXPECT_EQ(TheHost().LogText({"ovFile_Seek"}),
              "ovFile_Seek t.dbt at 0\n"
              "ovFile_Seek t.dbt at 1099511626752\n"
              "ovFile_Seek t.dbt at 0\n");
}

TEST_F(Memo, AHeaderThatIsTooShortIsAReadError) {
    TheHost().SetFile("t.dbt", std::string(511, '\0'));
    EXPECT_FALSE(table_->ReadMemoHeader());
    EXPECT_EQ(Text(table_->Error()).substr(0, 27), "Error reading from 't.dbt':");
}

TEST_F(Memo, TheCellHoldsTheBlockNumberOnTheRight) {
    EXPECT_EQ(Append("first"), "         1");
    EXPECT_EQ(Append(std::string(5000, 'x').c_str()), "         2");
    EXPECT_EQ(Append("third"), "        12");  // 5002 bytes took ten blocks
    ASSERT_TRUE(table_->ReadRecord(1));
    EXPECT_EQ(Text(field_->ValueText()), "first");
    ASSERT_TRUE(table_->ReadRecord(2));
    EXPECT_EQ(Text(field_->ValueText()), std::string(5000, 'x'));
}

// Data locks come before memo locks.
TEST_F(Memo, AnAppendTakesTheMemoLockInsideTheDataLock) {
    Append("text");
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Lock t.dbf mode 2 at 0 length 97\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Read t.dbf at 0 length 32\n"
              "ovFile_Seek t.dbf at 97\n"
              "ovFile_Lock t.dbt mode 2 at 0 length 512\n"
              "ovFile_Seek t.dbt at 0\n"
              "ovFile_Read t.dbt at 0 length 512\n"
              "ovFile_Seek t.dbt at 512\n"
              "ovFile_Write t.dbt at 512 length 6\n"
              "ovFile_Seek t.dbt at 0\n"
              "ovFile_Write t.dbt at 0 length 512\n"
              "ovFile_Release t.dbt at 0 length 512\n"
              "ovFile_Write t.dbf at 97 length 15\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Write t.dbf at 0 length 32\n"
              "ovFile_Release t.dbf at 0 length 97\n");
}

TEST_F(Memo, AnUntouchedTextCostsNoRead) {
    Append("text");
    ASSERT_TRUE(table_->ReadRecord(1));
    table_->FindField("A")->SetValue("new");
    TheHost().ClearLog();
    ASSERT_TRUE(table_->UpdateRecord());
    for (const HostCall& call : TheHost().Calls()) {
        EXPECT_NE(call.path, "t.dbt");
    }
    EXPECT_EQ(CellOf(1), "         1");
}

TEST_F(Memo, ABlankCellOrBlockZeroIsEmptyTextWithoutTouchingTheFile) {
    for (const char* cell : {"          ", "         0", "junk      ", "      -0.5"}) {
        field_->ReadFromRecord(cell);
        TheHost().ClearLog();
        EXPECT_EQ(Text(field_->ValueText()), "") << cell;
        EXPECT_STREQ(field_->SwapValues(), "");
        EXPECT_EQ(TheHost().LogText(), "");
    }
}

TEST_F(Memo, ACellWithAWildNumberIsSafe) {
    ASSERT_EQ(table_->WriteMemo("text"), 1);
    for (const char* cell : {"9999999999", "2147483647", "       -1 ", "-999999999"}) {
        field_->ReadFromRecord(cell);
        EXPECT_EQ(Text(field_->ValueText()), "") << cell;
    }
    field_->ReadFromRecord(" 1 and junk");
    EXPECT_EQ(Text(field_->ValueText()), "text");
}

TEST_F(Memo, ATextWithNulEndsThere) {
    TheHost().SetFile("t.dbt", std::string(512, '\0') + std::string("ab\0cd\x1A", 6));
    field_->ReadFromRecord("         1");
    EXPECT_EQ(Text(field_->ValueText()), "ab");
    field_->SetValue(TextView("xy\0z", 4));
    EXPECT_EQ(Text(field_->ValueText()), "xy");
}

TEST_F(Memo, EmptyTextStoresBlanksAndLeavesTheOldBlocks) {
    Append("text");
    ASSERT_TRUE(table_->ReadRecord(1));
    const std::string before = MemoFile();
    field_->SetValue("");
    TheHost().ClearLog();
    ASSERT_TRUE(table_->UpdateRecord());
    EXPECT_EQ(CellOf(1), "          ");
    EXPECT_EQ(MemoFile(), before);
    ASSERT_TRUE(table_->ReadRecord(1));
    EXPECT_EQ(Text(field_->ValueText()), "");
}

TEST_F(Memo, WritingTwiceAfterOneSetStoresTwoCopies) {
    Append("text");
    ASSERT_TRUE(table_->UpdateRecord());
    EXPECT_EQ(CellOf(1), "         2");
    EXPECT_EQ(table_->NextFreeMemoBlock(), 3U);
    ASSERT_TRUE(table_->ReadRecord(1));
    EXPECT_FALSE(field_->IsDirty());
    ASSERT_TRUE(table_->UpdateRecord());
    EXPECT_EQ(table_->NextFreeMemoBlock(), 3U);
}

// The old key of an update is built between two exchanges. Loading the stored text there must not
// cost the new one.
TEST_F(Memo, TheOldTextIsFoundBehindANewOne) {
    Append("the old text");
    ASSERT_TRUE(table_->ReadRecord(1));
    field_->SetValue("new");
    table_->SwapFieldValues();
    EXPECT_EQ(Text(field_->ValueText()), "the old text");
    table_->SwapFieldValues();
    EXPECT_EQ(Text(field_->ValueText()), "new");
    table_->SwapFieldValues();
    EXPECT_EQ(Text(field_->ValueText()), "the old text");
    table_->SwapFieldValues();
    ASSERT_TRUE(table_->UpdateRecord());
    EXPECT_EQ(Text(field_->ValueText()), "new");
    EXPECT_STREQ(field_->SwapValues(), "new");  // saved by the update
    ASSERT_TRUE(table_->ReadRecord(1));
    EXPECT_EQ(Text(field_->ValueText()), "new");
}

// A key made of the part would be missed in the index that holds the whole.
TEST_F(Memo, APartOfATextIsNeverTakenForTheStoredOne) {
    const std::string text(1200, 'q');
    Append(text.c_str());
    ASSERT_TRUE(table_->ReadRecord(1));
    FailFromTheThirdReadOn();
    EXPECT_EQ(Text(field_->ValueText()), std::string(1024, 'q'));
    EXPECT_EQ(Text(table_->Error()), "Error reading from 't.dbt': gone");
    EXPECT_STREQ(field_->SwapValues(), "");
    BindHostServices(nullptr);
    EXPECT_EQ(Text(field_->ValueText()), text);
}

TEST_F(Memo, TheOldTextMayBeEmptyOrLoadedBefore) {
    Append("");
    ASSERT_TRUE(table_->ReadRecord(1));
    field_->SetValue("new");
    table_->SwapFieldValues();
    EXPECT_EQ(Text(field_->ValueText()), "");
    table_->SwapFieldValues();
    EXPECT_EQ(Text(field_->ValueText()), "new");

    Append("a longer text than the new one");
    ASSERT_TRUE(table_->ReadRecord(2));
    EXPECT_EQ(Text(field_->ValueText()), "a longer text than the new one");
    field_->SetValue("brief");
    EXPECT_STREQ(field_->SwapValues(), "a longer text than the new one");
    EXPECT_EQ(field_->ValueText().length, 30);
    EXPECT_STREQ(field_->SwapValues(), "brief");
    EXPECT_EQ(field_->ValueText().length, 5);
}

// The record goes out all the same, with blanks where the block number would be.
TEST_F(Memo, ATextThatCannotBeStoredLeavesItsCellBlank) {
    TheHost().FailCall("ovFile_Lock", 2);
    table_->FindField("A")->SetValue("yes");
    EXPECT_EQ(Append("text"), "          ");
    EXPECT_EQ(TheHost().FileText("t.dbf").substr(97), " yes          \x1A");
    EXPECT_TRUE(table_->Error().IsEmpty());
}

TEST_F(Memo, ABlockNumberWiderThanItsCellIsAFailedWrite) {
    ColumnList columns;
    columns.Add("M", 4, 1);
    OvraSQLTable narrow(database_);
    ASSERT_TRUE(narrow.Create("n.dbf", columns));
    OvraSQLField* field = narrow.FindField("M");
    field->SetValue("x");
    std::string cell = "#";
    for (int block = 1; block <= 9; ++block) {
        EXPECT_TRUE(field->WriteToRecord(cell.data()));
        EXPECT_EQ(cell, std::to_string(block));
    }
    EXPECT_FALSE(field->WriteToRecord(cell.data()));  // block 10
    EXPECT_EQ(cell, "9");
}

// The example of docs/formats-dbf.md, byte by byte.
TEST_F(Memo, TheDocumentedExampleIsWhatIsWritten) {
    ColumnList columns;
    columns.Add("NAME", 0, 5).Add("AGE", 1, 3).Add("NOTE", 4, 10);
    {
        OvraSQLTable table(database_);
        ASSERT_TRUE(table.Create("people.dbf", columns));
        const char* const rows[2][3] = {{"Anna", "42", "Hello"}, {"Bob", "7", ""}};
        for (const auto& row : rows) {
            table.FindField("NAME")->SetValue(row[0]);
            table.FindField("AGE")->SetValue(row[1]);
            table.FindField("NOTE")->SetValue(row[2]);
            ASSERT_TRUE(table.AppendRecord());
        }
        ASSERT_TRUE(table.MarkDeleted(true));
    }
    EXPECT_EQ(
        Hex(FileWithoutDate("people.dbf")),
        Hex(FromHex("83 000000 02000000 8100 1300 00000000 00000000 00000000 00000000 00000000"
                    "4E414D45 000000 00000000 43 00000000 05 00 0000000000000000000000000000"
                    "41474500 000000 00000000 4E 00000000 03 00 0000000000000000000000000000"
                    "4E4F5445 000000 00000000 4D 00000000 0A 00 0000000000000000000000000000"
                    "0D"
                    "20 416E6E6120 203432 20202020202020202031"
                    "2A 426F622020 202037 20202020202020202020"
                    "1A")));
    EXPECT_EQ(Hex(TheHost().FileText("people.dbt").substr(0, 4)), "02 00 00 00");
    EXPECT_EQ(Hex(TheHost().FileText("people.dbt").substr(512)), "48 65 6C 6C 6F 1A 1A");
}

// A buffer of a rare long memo is not kept for all the records to come.
TEST(MemoText, ALongTextLeavesNoBufferBehind) {
    MemoText text;
    const std::string lengthy(1000000, 'x');
    text.Assign(TextView(lengthy.data(), 1000000));
    EXPECT_EQ(text.Bytes().length, 1000000);
    text.Unload();
    EXPECT_FALSE(text.IsLoaded());
    EXPECT_TRUE(text.Bytes().IsEmpty());
    text.Assign("short");
    EXPECT_TRUE(text.Text() == TextView("short"));
    ASSERT_TRUE(text.Append("er", 2));
    EXPECT_TRUE(text.Text() == TextView("shorter"));
    text.Unload();
    ASSERT_TRUE(text.Append("new", 3));
    EXPECT_TRUE(text.Text() == TextView("new"));
}

// The greatest length leaves room for what is put around a text.
TEST(MemoText, RefusesToPassTheGreatestLength) {
    MemoText text;
    text.Assign("short");
    EXPECT_THROW(text.Assign(TextView("x", 2147483647)), std::bad_alloc);
    EXPECT_FALSE(text.Append("x", 2147483647 - 1024));
    EXPECT_TRUE(text.Text() == TextView("short"));
}

TEST(MemoText, GrowsAndKeepsItsBytes) {
    MemoText text;
    EXPECT_FALSE(text.IsLoaded());
    EXPECT_EQ(text.Bytes().length, 0);
    std::string expected;
    for (int i = 0; i < 300; ++i) {
        const std::string piece(static_cast<size_t>(i), static_cast<char>('a' + i % 26));
        ASSERT_TRUE(text.Append(piece.data(), i));
        expected += piece;
    }
    EXPECT_EQ(Text(text.Bytes()), expected);
    text.Assign(text.Bytes().Part(10, 20));  // a piece of itself
    EXPECT_EQ(Text(text.Bytes()), expected.substr(10, 20));
    text.Unload();
    EXPECT_FALSE(text.IsLoaded());
    EXPECT_EQ(Text(text.Text()), "");
}

}  // namespace
}  // namespace ovrasql
