// Making a table's files: every byte of them, and what is left behind by each failure.

#include <ctime>

#include "tests/storage/data_support.h"

namespace ovrasql {
namespace {

using DataCreate = DataTest;

TEST_F(DataCreate, WritesHeaderDescriptorsTerminatorAndEndMark) {
    ColumnList columns;
    columns.Add("NAME", 0, 5).Add("AGE", 1, 6, 2).Add("BORN", 2, 8).Add("OK", 3, 1);
    {
        OvraSQLTable table(database_);
        ASSERT_TRUE(table.Create("t.dbf", columns));
        EXPECT_EQ(table.Version(), 0x03);
        EXPECT_EQ(table.RecordCount(), 0U);
        EXPECT_EQ(table.CurrentRecord(), 0U);
        EXPECT_FALSE(table.HasMemoFile());
    }
    // Header length 4 * 32 + 33 = 161 = A1, record length 1 + 5 + 6 + 8 + 1 = 21 = 15.
    EXPECT_EQ(Hex(FileWithoutDate("t.dbf")),
              Hex(FromHex("03 000000 00000000 A100 1500 0000000000000000000000000000000000000000"
                          // NAME C 5
                          "4E414D45 00000000000000 43 00000000 05 00 0000000000000000000000000000"
                          // AGE N 6 2
                          "414745 0000000000000000 4E 00000000 06 02 0000000000000000000000000000"
                          // BORN D 8
                          "424F524E 00000000000000 44 00000000 08 00 0000000000000000000000000000"
                          // OK L 1
                          "4F4B 000000000000000000 4C 00000000 01 00 0000000000000000000000000000"
                          "0D 1A")));
    EXPECT_EQ(TheHost().FilePaths(), std::vector<std::string>{"t.dbf"});
}

TEST_F(DataCreate, WritesTodayInUniversalTime) {
    const std::time_t before = std::time(nullptr);
    ColumnList columns;
    columns.Add("A", 0, 1);
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Create("t.dbf", columns));
    const std::time_t after = std::time(nullptr);
    const std::string bytes = TheHost().FileText("t.dbf").substr(1, 3);
    std::string expected[2];
    for (int i = 0; i < 2; ++i) {
        const std::tm* day = std::gmtime(i == 0 ? &before : &after);
        expected[i] = {static_cast<char>(day->tm_year), static_cast<char>(day->tm_mon + 1),
                       static_cast<char>(day->tm_mday)};
    }
    EXPECT_TRUE(bytes == expected[0] || bytes == expected[1]) << Hex(bytes);
}

TEST_F(DataCreate, WithAMemoFieldWritesVersion83AndAMemoFileOf513Bytes) {
    TheHost().AddDirectory("dir.x");
    ColumnList columns;
    columns.Add("TEXT", 4, 10);
    {
        OvraSQLTable table(database_);
        ASSERT_TRUE(table.Create("dir.x/t.dbf.d", columns)) << table.Error().CText();
        EXPECT_EQ(table.Version(), 0x83);
        EXPECT_EQ(table.NextFreeMemoBlock(), 1U);
        EXPECT_TRUE(table.HasMemoFile());
        EXPECT_EQ(Text(table.MemoPath()), "dir.x/t.dbf.dbt");
    }
    EXPECT_EQ(Hex(FileWithoutDate("dir.x/t.dbf.d")),
              Hex(FromHex("83 000000 00000000 4100 0B00 0000000000000000000000000000000000000000"
                          "54455854 00000000000000 4D 00000000 0A 00 0000000000000000000000000000"
                          "0D 1A")));
    EXPECT_EQ(TheHost().FileText("dir.x/t.dbf.dbt"),
              FromHex("01000000") + std::string(508, '\0') + "\x1A");
}

TEST_F(DataCreate, CallsTheHostInAFixedOrder) {
    ColumnList columns;
    columns.Add("A", 0, 1).Add("M", 4, 10).Add("N", 4, 10);
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Create("t.dbf", columns));
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Open t.dbf flags 15\n"
              "ovFile_Open t.dbt flags 15\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Write t.dbf at 0 length 32\n"
              "ovFile_Seek t.dbf at 32\n"
              "ovFile_Write t.dbf at 32 length 97\n"
              "ovFile_Write t.dbf at 129 length 1\n"
              "ovFile_Seek t.dbt at 0\n"
              "ovFile_Write t.dbt at 0 length 512\n"
              "ovFile_Write t.dbt at 512 length 1\n");
}

TEST_F(DataCreate, AnExistingFileIsEmptied) {
    TheHost().SetFile("t.dbf", std::string(1000, 'x'));
    ColumnList columns;
    columns.Add("A", 0, 1);
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Create("t.dbf", columns));
    EXPECT_EQ(TheHost().FileText("t.dbf").size(), 66U);  // 65 of header, end mark
}

TEST_F(DataCreate, MakesItsOwnFields) {
    OvraSQLTable table(database_);
    {
        ColumnList columns;
        columns.Add("A", 0, 7).Add("M", 4, 10).Add("N", 1, 9, 3);
        ASSERT_TRUE(table.Create("t.dbf", columns));
    }
    EXPECT_EQ(table.Fields().Count(), 3);
    OvraSQLField* number = table.FindField("n");
    ASSERT_NE(number, nullptr);
    EXPECT_EQ(Text(number->Name()), "N");
    EXPECT_EQ(number->Type(), 1);
    EXPECT_EQ(number->Length(), 9);
    EXPECT_EQ(number->Decimals(), 3);
    EXPECT_NE(dynamic_cast<OvraSQLMemoField*>(table.FindField("M")), nullptr);
    EXPECT_EQ(dynamic_cast<OvraSQLMemoField*>(table.FindField("A")), nullptr);
}

TEST_F(DataCreate, ANameGoesOutWithTenLettersAtMost) {
    ColumnList columns;
    columns.Add("ABCDEFGHIJKLM", 0, 1).Add("ABCDEFGHIJ", 0, 1);
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Create("t.dbf", columns));
    EXPECT_EQ(Hex(TheHost().FileText("t.dbf").substr(32, 12)),
              "41 42 43 44 45 46 47 48 49 4A 00 43");
    EXPECT_EQ(Hex(TheHost().FileText("t.dbf").substr(64, 12)),
              "41 42 43 44 45 46 47 48 49 4A 00 43");
}

// A name that another program wrote into all eleven bytes must not come out shorter from a copy.
TEST_F(DataCreate, ANameReadFromAllElevenBytesIsWrittenSo) {
    TheHost().SetFile("old.dbf", DataFile(3, 0, 65, 2, Descriptor("ELEVENBYTES", 'C', 1) + "\r"));
    OvraSQLTable old(database_);
    ASSERT_TRUE(old.Open("old.dbf", 3));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Create("t.dbf", old.Fields()));
    EXPECT_EQ(TheHost().FileText("t.dbf").substr(32, 12), "ELEVENBYTESC");
}

TEST_F(DataCreate, ATypeThatIsNoneIsDescribedAsText) {
    ColumnList columns;
    columns.Add("A", -1, 1).Add("B", 5, 1);
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Create("t.dbf", columns));
    EXPECT_EQ(TheHost().FileText("t.dbf")[32 + 11], 'C');
    EXPECT_EQ(TheHost().FileText("t.dbf")[64 + 11], 'C');
}

TEST_F(DataCreate, TakesAtMost2046Fields) {
    ColumnList columns;
    for (int i = 0; i < 2046; ++i) {
        columns.Add("F" + std::to_string(i), 0, 1);
    }
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Create("t.dbf", columns));
    EXPECT_EQ(table.HeaderLength(), 65505);
    EXPECT_EQ(table.RecordLength(), 2047);
    table.Close();

    columns.Add("ONEMORE", 0, 1);
    EXPECT_FALSE(table.Create("u.dbf", columns));
    EXPECT_EQ(Text(table.Error()), "Error creating table datafile: too many fields (maximum 2046)");
    EXPECT_EQ(TheHost().OpenFileCount(), 0);
}

TEST_F(DataCreate, ARecordOver65535BytesIsRefusedBeforeAnyFile) {
    const char* const message = "Error creating table datafile: record too long (maximum 65535)";
    ColumnList fits;  // 1 + 256 * 255 + 254 = 65535
    for (int i = 0; i < 256; ++i) {
        fits.Add("F" + std::to_string(i), 0, 255);
    }
    fits.Add("LAST", 0, 254);
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Create("t.dbf", fits));
    EXPECT_EQ(table.RecordLength(), 65535);
    table.Close();
    TheHost().ClearLog();

    fits.Add("MORE", 0, 1);
    EXPECT_FALSE(table.Create("u.dbf", fits));
    EXPECT_EQ(Text(table.Error()), message);
    for (const int32_t width : {0, -5, 256, 2147483647, -2147483647}) {
        ColumnList columns;
        columns.Add("A", 0, width);
        OvraSQLTable other(database_);
        EXPECT_FALSE(other.Create("u.dbf", columns)) << width;
        EXPECT_EQ(Text(other.Error()), message);
    }
    EXPECT_EQ(TheHost().LogText(), "");
}

TEST_F(DataCreate, ReportsADataFileThatCannotBeOpened) {
    ColumnList columns;
    columns.Add("A", 0, 1);
    OvraSQLTable table(database_);
    EXPECT_FALSE(table.Create("nofolder/t.dbf", columns));
    EXPECT_EQ(Text(table.Error()), "Error creating 'nofolder/t.dbf': No such file or directory");
}

// Without a memo file the data file is left open by Create, but must not be leaked.
TEST_F(DataCreate, ReportsAMemoFileThatCannotBeOpenedAndKeepsTheDataFileOpen) {
    ColumnList columns;
    columns.Add("M", 4, 10);
    {
        OvraSQLTable table(database_);
        TheHost().FailCall("ovFile_Open", 2);
        EXPECT_FALSE(table.Create("t.dbf", columns));
        EXPECT_EQ(Text(table.Error()), "Error creating 't.dbt': Injected failure");
        EXPECT_EQ(TheHost().OpenFileCount(), 1);
        EXPECT_EQ(TheHost().CallCount("ovFile_Close"), 0);
    }
    EXPECT_EQ(TheHost().CallCount("ovFile_Close"), 1);
    EXPECT_EQ(TheHost().CallCount("ovFile_Write"), 0);
}

// Each write of Create fails in turn, outright and by one byte: the message names the file, and
// both handles are closed.
TEST_F(DataCreate, EveryFailedWriteClosesBothFiles) {
    const char* const paths[] = {"t.dbf", "t.dbf", "t.dbf", "t.dbt", "t.dbt"};
    for (const FailureKind kind : {FailureKind::kOutright, FailureKind::kShortByOne}) {
        for (int call = 1; call <= 5; ++call) {
            ColumnList columns;
            columns.Add("M", 4, 10);
            OvraSQLTable table(database_);
            TheHost().FailCall("ovFile_Write", call, kind);
            EXPECT_FALSE(table.Create("t.dbf", columns)) << call;
            EXPECT_EQ(Text(table.Error()),
                      std::string("Error writing to '") + paths[call - 1] + "': Injected failure");
            EXPECT_EQ(TheHost().OpenFileCount(), 0) << call;
            EXPECT_FALSE(table.IsOpen());
        }
        TheHost().ClearFailures();
    }
    for (int call = 1; call <= 3; ++call) {
        ColumnList columns;
        columns.Add("M", 4, 10);
        OvraSQLTable table(database_);
        TheHost().FailCall("ovFile_Seek", call);
        EXPECT_FALSE(table.Create("t.dbf", columns)) << call;
        EXPECT_EQ(TheHost().OpenFileCount(), 0) << call;
    }
}

TEST_F(DataCreate, FromHandlesLeavesClosingToTheCallerOnFailure) {
    ColumnList columns;
    columns.Add("M", 4, 10);
    void* data = ovFile_Open(TheHost().Program(), 2, "d", 1, 15);
    void* memo = ovFile_Open(TheHost().Program(), 2, "m", 1, 15);
    {
        OvraSQLTable table(database_);
        TheHost().FailCall("ovFile_Write", 5);
        EXPECT_FALSE(table.CreateFromHandles(data, "d", memo, "m", columns));
        EXPECT_EQ(Text(table.Error()), "Error writing to 'm': Injected failure");
    }
    EXPECT_EQ(TheHost().OpenFileCount(), 2);
    {
        OvraSQLTable table(database_);
        ASSERT_TRUE(table.CreateFromHandles(data, "d", memo, "m", columns));
        EXPECT_EQ(Text(table.DataPath()), "d");
        EXPECT_EQ(Text(table.MemoPath()), "m");
    }
    EXPECT_EQ(TheHost().OpenFileCount(), 0);
}

TEST_F(DataCreate, FromHandlesRefusesALayoutAndChangesNothing) {
    ColumnList columns;
    columns.Add("A", 0, 256);
    OvraSQLTable table(database_);
    EXPECT_FALSE(table.CreateFromHandles(nullptr, "d", nullptr, "m", columns));
    EXPECT_EQ(Text(table.Error()),
              "Error creating table datafile: record too long (maximum 65535)");
    EXPECT_TRUE(table.DataPath().IsEmpty());
}

// Other programs' files have such fields, and a copy of one must have them, too.
TEST_F(DataCreate, FromHandlesTakesAFieldWithoutBytes) {
    ColumnList columns;
    columns.Add("A", 0, 3).Add("NONE", 0, 0);
    void* data = ovFile_Open(TheHost().Program(), 2, "d", 1, 15);
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.CreateFromHandles(data, "d", nullptr, "m", columns));
    table.FindField("A")->SetValue("yes");
    ASSERT_TRUE(table.AppendRecord());
    EXPECT_EQ(table.RecordLength(), 4);
    EXPECT_EQ(TheHost().FileText("d").substr(97), " yes\x1A");
}

TEST_F(DataCreate, FromHandlesLeavesAMemoFileThatNoFieldNeedsToTheCaller) {
    ColumnList columns;
    columns.Add("A", 0, 1);
    void* data = ovFile_Open(TheHost().Program(), 2, "d", 1, 15);
    void* memo = ovFile_Open(TheHost().Program(), 2, "m", 1, 15);
    {
        OvraSQLTable table(database_);
        ASSERT_TRUE(table.CreateFromHandles(data, "d", memo, "m", columns));
        EXPECT_FALSE(table.HasMemoFile());
        EXPECT_EQ(TheHost().OpenFileCount(), 2);
    }
    EXPECT_EQ(TheHost().OpenFileCount(), 1);
    ovFile_Close(memo);
    EXPECT_TRUE(TheHost().FileText("m").empty());
}

TEST_F(DataCreate, FromHandlesReportsAMissingHandle) {
    ColumnList columns;
    columns.Add("M", 4, 10);
    OvraSQLTable table(database_);
    EXPECT_FALSE(table.CreateFromHandles(nullptr, "d.dbf", nullptr, "m.dbt", columns));
    EXPECT_EQ(Text(table.Error()), "Internal error opening 'd.dbf'");
    void* data = ovFile_Open(TheHost().Program(), 2, "d", 1, 15);
    EXPECT_FALSE(table.CreateFromHandles(data, "d.dbf", nullptr, "m.dbt", columns));
    EXPECT_EQ(Text(table.Error()), "Internal error opening 'm.dbt'");
    EXPECT_FALSE(table.IsOpen());
    ovFile_Close(data);
}

TEST_F(DataCreate, FromHandlesWithTooManyFieldsChangesNothing) {
    ColumnList one;
    one.Add("A", 0, 1);
    ColumnList many;
    for (int i = 0; i < 2047; ++i) {
        many.Add("F" + std::to_string(i), 0, 1);
    }
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Create("t.dbf", one));
    EXPECT_FALSE(table.CreateFromHandles(nullptr, "d", nullptr, "m", many));
    EXPECT_TRUE(table.IsOpen());
    EXPECT_EQ(Text(table.DataPath()), "t.dbf");
    EXPECT_EQ(table.Fields().Count(), 1);
}

}  // namespace
}  // namespace ovrasql
