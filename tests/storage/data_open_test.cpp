// Opening files that may come from anywhere: what is accepted, what is refused and how.

#include "tests/storage/data_support.h"

namespace ovrasql {
namespace {

using DataOpen = DataTest;

const std::string kTwoFields =
    Descriptor("NAME", 'C', 5) + Descriptor("AGE", 'N', 6, 2);  // record length 12

TEST_F(DataOpen, TakesHeaderAndFieldsFromTheFile) {
    // Reserved bytes are not zero, and junk follows a name's NUL: neither counts.
    TheHost().SetFile(
        "t.dbf", FromHex("03 7C061E 02000000 A100 1C00 FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF57FFFFFF"
                         "6E616D6500 4A554E4B4A55 43 FFFFFFFF FF 00 FFFFFFFFFFFFFFFFFFFFFFFFFFFF"
                         "414745 0000000000000000 4E FFFFFFFF 06 02 FFFFFFFFFFFFFFFFFFFFFFFFFFFF"
                         "424F524E 00000000000000 44 00000000 08 00 0000000000000000000000000000"
                         "4F4B 000000000000000000 4C 00000000 01 00 0000000000000000000000000000"
                         "00"));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3)) << table.Error().CText();
    EXPECT_EQ(table.Version(), 3);
    EXPECT_EQ(table.Year(), 124);
    EXPECT_EQ(table.Month(), 6);
    EXPECT_EQ(table.Day(), 30);
    EXPECT_EQ(table.RecordCount(), 2U);
    EXPECT_EQ(table.HeaderLength(), 161);
    EXPECT_EQ(table.RecordLength(), 28);
    ASSERT_EQ(table.Fields().Count(), 4);
    const char* const names[] = {"name", "AGE", "BORN", "OK"};
    const int32_t lengths[] = {255, 6, 8, 1};
    for (int32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(Text(table.Fields().ItemAt(i)->Name()), names[i]);
        EXPECT_EQ(table.Fields().ItemAt(i)->Type(), i);
        EXPECT_EQ(table.Fields().ItemAt(i)->Length(), lengths[i]);
    }
    EXPECT_EQ(table.FindField("AGE")->Decimals(), 2);
    EXPECT_EQ(table.FindField("NAME"), table.Fields().ItemAt(0));
    EXPECT_EQ(table.FindField("nobody"), nullptr);
}

TEST_F(DataOpen, CallsTheHostInAFixedOrder) {
    TheHost().SetFile("t.dbf", DataFile(0x83, 0, 65, 11, Descriptor("M", 'M', 10) + "\r"));
    TheHost().SetFile("t.dbt", FromHex("05000000") + std::string(508, '\xFF'));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    EXPECT_EQ(table.NextFreeMemoBlock(), 5U);
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Open t.dbf flags 3\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Read t.dbf at 0 length 32\n"
              "ovFile_Seek t.dbf at 32\n"
              "ovFile_Read t.dbf at 32 length 33\n"
              "ovFile_Open t.dbt flags 3\n"
              "ovFile_Lock t.dbt mode 1 at 0 length 512\n"
              "ovFile_Seek t.dbt at 0\n"
              "ovFile_Read t.dbt at 0 length 512\n"
              "ovFile_Release t.dbt at 0 length 512\n");
}

TEST_F(DataOpen, ReportsAMissingFile) {
    OvraSQLTable table(database_);
    EXPECT_FALSE(table.Open("t.dbf", 3));
    EXPECT_EQ(Text(table.Error()), "Error opening 't.dbf': No such file or directory");
    EXPECT_FALSE(table.IsOpen());
}

TEST_F(DataOpen, AcceptsVersionsThatAreThreeWithoutTheTopBit) {
    for (int version = 0; version < 256; ++version) {
        TheHost().SetFile("t.dbf", DataFile(version, 0, 33, 1, "\r"));
        TheHost().SetFile("t.dbt", std::string(513, '\0'));
        OvraSQLTable table(database_);
        const bool opens = table.Open("t.dbf", 3);
        EXPECT_EQ(opens, version == 0x03 || version == 0x83) << version;
        if (!opens) {
            EXPECT_EQ(Text(table.Error()), "'t.dbf': Unsupported xBase file version (0x" +
                                               Hex(std::string(1, static_cast<char>(version))) +
                                               ")");
            EXPECT_TRUE(table.IsOpen());  // until Close or the destructor
        }
    }
}

TEST_F(DataOpen, AHeaderLengthOf32OrLessIsARefusal) {
    for (const uint32_t length : {0U, 1U, 31U, 32U}) {
        TheHost().SetFile("t.dbf", DataFile(3, 0, length, 1, std::string(100, '\r')));
        TheHost().SetErrorText("no text");
        OvraSQLTable table(database_);
        EXPECT_FALSE(table.Open("t.dbf", 3));
        EXPECT_EQ(Text(table.Error()), "Error reading from 't.dbf': no text");
    }
}

// The field count is (header length - 33) / 32, whatever stands at the terminator's place.
TEST_F(DataOpen, FieldCountComesFromAnIntegerDivision) {
    struct {
        uint32_t headerLength;
        int32_t fields;
    } const cases[] = {{33, 0}, {64, 0}, {65, 1}, {66, 1}, {96, 1}, {97, 2}, {98, 2}};
    for (const auto& c : cases) {
        TheHost().SetFile("t.dbf",
                          DataFile(3, 0, c.headerLength, 12, kTwoFields + std::string(80, '\0')));
        OvraSQLTable table(database_);
        EXPECT_TRUE(table.Open("t.dbf", 3)) << table.Error().CText();
        EXPECT_EQ(table.Fields().Count(), c.fields) << c.headerLength;
    }
}

TEST_F(DataOpen, AFileThatEndsTooEarlyIsARefusal) {
    const std::string whole = DataFile(3, 0, 97, 12, kTwoFields + "\r");
    ASSERT_EQ(whole.size(), 97U);
    for (size_t size = 0; size < whole.size(); ++size) {
        TheHost().SetFile("t.dbf", whole.substr(0, size));
        TheHost().SetErrorText("end of file");
        OvraSQLTable table(database_);
        EXPECT_FALSE(table.Open("t.dbf", 3)) << size;
        EXPECT_EQ(Text(table.Error()), "Error reading from 't.dbf': end of file");
    }
}

TEST_F(DataOpen, AnUnknownLetterEndsTheFieldsWithAMessage) {
    TheHost().SetFile("t.dbf", DataFile(3, 0, 129, 20,
                                        Descriptor("A", 'C', 5) + Descriptor("PRICE", 'F', 8) +
                                            Descriptor("B", 'C', 5) + "\r"));
    OvraSQLTable table(database_);
    EXPECT_FALSE(table.Open("t.dbf", 3));
    EXPECT_EQ(Text(table.Error()), "'t.dbf' contains an unsupported field (PRICE) of type 'F'");
    EXPECT_EQ(table.Fields().Count(), 1);
    EXPECT_TRUE(table.IsOpen());

    TheHost().SetFile("t.dbf", DataFile(3, 0, 65, 20, Descriptor("LOWERCASE11", 'c', 5) + "\r"));
    EXPECT_FALSE(table.Open("t.dbf", 3));
    EXPECT_EQ(Text(table.Error()),
              "'t.dbf' contains an unsupported field (LOWERCASE11) of type 'c'");
}

TEST_F(DataOpen, Version83OpensItsMemoFileEvenWithoutAMemoField) {
    TheHost().SetFile("t.dbf", DataFile(0x83, 0, 97, 12, kTwoFields + "\r"));
    {
        OvraSQLTable table(database_);
        EXPECT_FALSE(table.Open("t.dbf", 3));
        EXPECT_EQ(Text(table.Error()), "Error opening 't.dbt': No such file or directory");
    }
    TheHost().SetFile("t.dbt", std::string(513, '\0'));
    OvraSQLTable table(database_);
    EXPECT_TRUE(table.Open("t.dbf", 3));
    EXPECT_TRUE(table.HasMemoFile());
}

TEST_F(DataOpen, AMemoFieldRaisesVersion3UntilTheNextHeaderRead) {
    TheHost().SetFile("t.dbf", DataFile(3, 0, 65, 11, Descriptor("M", 'M', 10) + "\r\x1A"));
    TheHost().SetFile("t.dbt", FromHex("01000000") + std::string(509, '\0'));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    EXPECT_EQ(table.Version(), 0x83);
    EXPECT_TRUE(table.HasMemoFile());
    ASSERT_TRUE(table.AppendRecord());  // reads and writes the header
    EXPECT_EQ(table.Version(), 0x03);
    EXPECT_EQ(TheHost().FileBytes("t.dbf")[0], 0x03);
}

TEST_F(DataOpen, ReportsAMemoHeaderThatIsLockedOrTooShort) {
    TheHost().SetFile("t.dbf", DataFile(0x83, 0, 65, 11, Descriptor("M", 'M', 10) + "\r"));
    TheHost().SetFile("t.dbt", std::string(511, '\0'));
    OvraSQLTable table(database_);
    TheHost().RefuseLocks(true);
    EXPECT_FALSE(table.Open("t.dbf", 3));
    EXPECT_EQ(Text(table.Error()), "Error locking 't.dbt' for read: The range is locked");
    TheHost().RefuseLocks(false);
    EXPECT_FALSE(table.Open("t.dbf", 3));
    EXPECT_EQ(Text(table.Error()).substr(0, 28), "Error reading from 't.dbt': ");
    EXPECT_TRUE(TheHost().Locks().empty());
}

TEST_F(DataOpen, CloseClosesBothFilesAndKeepsTheFields) {
    TheHost().SetFile("t.dbf",
                      DataFile(0x83, 1, 65, 11, Descriptor("M", 'C', 10) + "\r A         \x1A"));
    TheHost().SetFile("t.dbt", std::string(513, '\0'));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    ASSERT_TRUE(table.ReadRecord(1));
    table.Close();
    EXPECT_EQ(TheHost().OpenFileCount(), 0);
    EXPECT_TRUE(table.DataPath().IsEmpty());
    EXPECT_TRUE(table.MemoPath().IsEmpty());
    EXPECT_EQ(Text(table.FindField("M")->ValueText()), "A");
    table.Close();  // once more does no harm
    EXPECT_EQ(TheHost().CallCount("ovFile_Close"), 2);
}

TEST_F(DataOpen, OpeningAgainClosesWhatWasOpen) {
    TheHost().SetFile("t.dbf", DataFile(3, 0, 97, 12, kTwoFields + "\r"));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    // Its own path, which Close empties, is a fair argument.
    ASSERT_TRUE(table.Open(table.DataPath(), 3));
    EXPECT_EQ(Text(table.DataPath()), "t.dbf");
    EXPECT_EQ(TheHost().OpenFileCount(), 1);
}

// Another process may have put a shorter header in its place.
TEST_F(DataOpen, DescriptorsAreWrittenOnlyAsFarAsTheHeaderReaches) {
    TheHost().SetFile("t.dbf", DataFile(3, 0, 97, 12, kTwoFields + "\r"));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    TheHost().SetFile("t.dbf", DataFile(3, 0, 70, 12, ""));
    ASSERT_TRUE(table.ReadHeader());
    ASSERT_TRUE(table.WriteFieldDescriptors());
    EXPECT_EQ(TheHost().FileText("t.dbf").substr(32),
              Descriptor("NAME", 'C', 5) + std::string(5, '\0') + "\r");
    TheHost().SetFile("t.dbf", DataFile(3, 0, 32, 12, ""));
    ASSERT_TRUE(table.ReadHeader());
    TheHost().SetErrorText("no room");
    EXPECT_FALSE(table.WriteFieldDescriptors());
    EXPECT_EQ(Text(table.Error()), "Error writing to 't.dbf': no room");
}

// No operation may reach the host with a file that is not open.
TEST_F(DataOpen, ATableWithoutFilesFailsEveryOperation) {
    OvraSQLTable table(database_);
    EXPECT_FALSE(table.ReadRecord(1));
    EXPECT_FALSE(table.LockAndReadRecord());
    EXPECT_FALSE(table.AppendRecord());
    EXPECT_FALSE(table.UpdateRecord());
    EXPECT_EQ(Text(table.Error()), "Invalid record number");
    EXPECT_FALSE(table.MarkDeleted(true));
    EXPECT_EQ(Text(table.Error()), "Invalid record number");
    EXPECT_FALSE(table.ReadHeader());
    EXPECT_FALSE(table.WriteHeader());
    EXPECT_FALSE(table.ReadFieldDescriptors());
    EXPECT_FALSE(table.WriteFieldDescriptors());
    EXPECT_FALSE(table.ReadMemoHeader());
    EXPECT_FALSE(table.WriteMemoHeader());
    EXPECT_EQ(table.WriteMemo("text"), -1);
    EXPECT_FALSE(table.LockHeader(LockMode::kExclusive));
    EXPECT_FALSE(table.ReleaseHeader());
    EXPECT_EQ(TheHost().LogText(), "");
}

}  // namespace
}  // namespace ovrasql
