// Reading and writing records: bytes, positions, and the order of host calls that other processes
// rely on.

#include <functional>

#include "tests/storage/data_support.h"

namespace ovrasql {
namespace {

// Header length 97, record length 1 + 5 + 6 = 12; record n at 97 + 12 (n - 1).
const std::string kFields = Descriptor("NAME", 'C', 5) + Descriptor("AGE", 'N', 6) + "\r";

std::string People(uint32_t count, const std::string& records) {
    return DataFile(3, count, 97, 12, kFields + records);
}

class DataRecord : public DataTest {
  protected:
    // Opens people.dbf with two records.
    void OpenTwo(OvraSQLTable& table) {
        TheHost().SetFile("t.dbf", People(2, " Anna     42*Bob      7 \x1A"));
        ASSERT_TRUE(table.Open("t.dbf", 3)) << table.Error().CText();
        TheHost().ClearLog();
    }
    static std::string Value(OvraSQLTable& table, TextView name) {
        return Text(table.FindField(name)->ValueText());
    }
    static std::string Records() { return TheHost().FileText("t.dbf").substr(97); }

    // Fails each call of a change to record 1 in turn.
    void FailEachCall(const std::function<bool(OvraSQLTable&)>& change) {
        // Calls: 1 lock, 2 seek, 3 write, 4 release, 5 lock, 6 and 7 header read, 8 and 9 header
        // written.
        const char* const locking = "Error locking 't.dbf' for write: Injected failure";
        const char* const reading = "Error reading from 't.dbf': Injected failure";
        const char* const writing = "Error writing to 't.dbf': Injected failure";
        const char* const texts[] = {locking, writing, writing, nullptr, locking,
                                     reading, reading, writing, writing};
        for (int call = 1; call <= 9; ++call) {
            OvraSQLTable table(database_);
            OpenTwo(table);
            ASSERT_TRUE(table.ReadRecord(1));
            TheHost().FailCall(call, FailureKind::kHalf);
            // A release that fails goes unreported.
            EXPECT_EQ(change(table), texts[call - 1] == nullptr) << call;
            if (texts[call - 1] != nullptr) {
                EXPECT_EQ(Text(table.Error()), texts[call - 1]) << call;
            }
            EXPECT_TRUE(TheHost().Locks().empty()) << call;
        }
    }
};

TEST_F(DataRecord, ReadsARecordWithOneSeekAndOneReadAndNoLock) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    ASSERT_TRUE(table.ReadRecord(1));
    EXPECT_EQ(table.CurrentRecord(), 1U);
    EXPECT_FALSE(table.IsDeleted());
    EXPECT_EQ(Value(table, "NAME"), "Anna");
    EXPECT_EQ(Value(table, "AGE"), "42");
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Seek t.dbf at 97\n"
              "ovFile_Read t.dbf at 97 length 12\n");
}

TEST_F(DataRecord, ReadsADeletedRecordAndSaysSo) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    ASSERT_TRUE(table.ReadRecord(2));
    EXPECT_TRUE(table.IsDeleted());
    EXPECT_EQ(Value(table, "NAME"), "Bob");
    EXPECT_EQ(Value(table, "AGE"), "7 ");  // a number keeps its trailing blanks
    ASSERT_TRUE(table.ReadRecord(1));
    EXPECT_FALSE(table.IsDeleted());
}

TEST_F(DataRecord, AnyFlagButAStarIsLive) {
    TheHost().SetFile("t.dbf", People(2, "xAnna     42+Bob      7 "));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    for (uint32_t number = 1; number <= 2; ++number) {
        ASSERT_TRUE(table.ReadRecord(number));
        EXPECT_FALSE(table.IsDeleted());
    }
}

TEST_F(DataRecord, NumberZeroIsRefusedWithoutACall) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    EXPECT_FALSE(table.ReadRecord(0));
    EXPECT_EQ(Text(table.Error()), "Invalid record number");
    EXPECT_EQ(TheHost().LogText(), "");
}

// The end of the table is found out under the lock, and the lock is given back.
TEST_F(DataRecord, ANumberAboveTheCountReloadsTheHeaderUnderTheExclusiveLock) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    EXPECT_FALSE(table.ReadRecord(3));
    EXPECT_EQ(Text(table.Error()), "Invalid record number");
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Lock t.dbf mode 2 at 0 length 97\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Read t.dbf at 0 length 32\n"
              "ovFile_Release t.dbf at 0 length 97\n");
}

TEST_F(DataRecord, ARefusedLockForTheReloadIsAFailure) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    TheHost().RefuseLocks(true);
    EXPECT_FALSE(table.ReadRecord(3));
    EXPECT_EQ(Text(table.Error()), "Error locking 't.dbf' for write: The range is locked");
}

TEST_F(DataRecord, AReloadThatFailsLeavesTheNumberInvalid) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    TheHost().FailCall("ovFile_Read", 1);
    EXPECT_FALSE(table.ReadRecord(3));
    EXPECT_EQ(Text(table.Error()), "Invalid record number");
    EXPECT_TRUE(TheHost().Locks().empty());
}

// The copy of the header is replaced before its version is looked at, and the count in it decides.
TEST_F(DataRecord, AReloadWithAForeignVersionStillBringsItsCount) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    TheHost().SetFile("t.dbf",
                      DataFile(0x30, 3, 97, 12, kFields + " Anna     42*Bob      7  Cy        1"));
    ASSERT_TRUE(table.ReadRecord(3));
    EXPECT_EQ(Value(table, "NAME"), "Cy");
    EXPECT_FALSE(table.AppendRecord());
    EXPECT_EQ(Text(table.Error()), "'t.dbf': Unsupported xBase file version (0x30)");
}

TEST_F(DataRecord, AFailedReadLeavesPositionAndValuesAlone) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    ASSERT_TRUE(table.ReadRecord(1));
    table.FindField("AGE")->SetValue("43");
    for (const FailureKind kind :
         {FailureKind::kOutright, FailureKind::kHalf, FailureKind::kShortByOne}) {
        TheHost().FailCall("ovFile_Read", 1, kind);
        EXPECT_FALSE(table.ReadRecord(2));
        EXPECT_EQ(Text(table.Error()), "Error reading from 't.dbf': Injected failure");
    }
    TheHost().FailCall("ovFile_Seek", 1);
    EXPECT_FALSE(table.ReadRecord(2));
    EXPECT_EQ(table.CurrentRecord(), 1U);
    EXPECT_FALSE(table.IsDeleted());
    EXPECT_EQ(Value(table, "NAME"), "Anna");  // first asked for after the failure
    EXPECT_EQ(Value(table, "AGE"), "43");
}

TEST_F(DataRecord, TheCountAloneBoundsTheRecords) {
    // Three records lie in the file, the count says two, and no end mark follows.
    TheHost().SetFile("t.dbf", People(2, " Anna     42 Bob       7 Cy        1"));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    EXPECT_TRUE(table.ReadRecord(2));
    EXPECT_FALSE(table.ReadRecord(3));
    // And a count beyond the file's end gives a failed read.
    TheHost().SetFile("t.dbf", People(9, " Anna     42"));
    ASSERT_TRUE(table.Open("t.dbf", 3));
    EXPECT_FALSE(table.ReadRecord(2));
    EXPECT_EQ(Text(table.Error()).substr(0, 27), "Error reading from 't.dbf':");
}

TEST_F(DataRecord, ARecordWithoutBytesCannotBeRead) {
    TheHost().SetFile("t.dbf", DataFile(3, 4000000000U, 97, 0, kFields + "     "));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    EXPECT_FALSE(table.ReadRecord(1));
    EXPECT_EQ(Text(table.Error()).substr(0, 27), "Error reading from 't.dbf':");
    EXPECT_FALSE(table.AppendRecord());
    EXPECT_EQ(Text(table.Error()).substr(0, 25), "Error writing to 't.dbf':");
    EXPECT_TRUE(TheHost().Locks().empty());
}

// A header may state fewer bytes than the fields take, and another process may change it while the
// table is open. What lies behind the record's end reads as blanks.
TEST_F(DataRecord, ARecordShorterThanItsFieldsStaysInsideTheBuffer) {
    TheHost().SetFile("t.dbf", DataFile(3, 2, 97, 11, kFields + " Anna    42 Bob      7\x1A"));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    ASSERT_TRUE(table.ReadRecord(1));
    EXPECT_EQ(Value(table, "NAME"), "Anna");
    EXPECT_EQ(Value(table, "AGE"), "42 ");
    table.FindField("AGE")->SetValue("123456");
    ASSERT_TRUE(table.UpdateRecord());
    EXPECT_EQ(Records(), " Anna 12345 Bob      7\x1A");
    ASSERT_TRUE(table.AppendRecord());
    EXPECT_EQ(Records(), " Anna 12345 Bob      7 Anna 12345\x1A");

    // From now on a record has 300 bytes.
    TheHost().SetFile("t.dbf", DataFile(3, 9, 97, 300, kFields + std::string(3000, 'x')));
    ASSERT_TRUE(table.ReadRecord(8));
    EXPECT_EQ(Value(table, "NAME"), "xxxxx");
    ASSERT_TRUE(table.AppendRecord());
    EXPECT_EQ(Records().substr(2700), " xxxxxxxxxxx" + std::string(288, ' ') + "\x1A");
}

TEST_F(DataRecord, AppendsWithOneWriteUnderTheHeaderLock) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    table.FindField("NAME")->SetValue("Cy");
    table.FindField("AGE")->SetValue("100");
    table.SetDeleted(true);  // a new record is live whatever was in hand
    ASSERT_TRUE(table.AppendRecord());
    EXPECT_EQ(table.CurrentRecord(), 3U);
    EXPECT_EQ(table.RecordCount(), 3U);
    EXPECT_FALSE(table.IsDeleted());
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Lock t.dbf mode 2 at 0 length 97\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Read t.dbf at 0 length 32\n"
              "ovFile_Seek t.dbf at 121\n"
              "ovFile_Write t.dbf at 121 length 13\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Write t.dbf at 0 length 32\n"
              "ovFile_Release t.dbf at 0 length 97\n");
    // 43 79 20 20 20 is "Cy" left-justified; the number stands on the right.
    EXPECT_EQ(Hex(Records().substr(24)), "20 43 79 20 20 20 20 20 20 31 30 30 1A");
    EXPECT_EQ(Hex(TheHost().FileText("t.dbf").substr(4, 28)),
              Hex(FromHex("03000000 6100 0C00 0000000000000000000000000000000000000000")));
}

TEST_F(DataRecord, AppendingAfterAReadCarriesTheValuesOn) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    ASSERT_TRUE(table.ReadRecord(1));
    table.FindField("AGE")->SetValue("1");
    ASSERT_TRUE(table.AppendRecord());
    EXPECT_EQ(Records(), " Anna     42*Bob      7  Anna      1\x1A");
    EXPECT_EQ(Value(table, "NAME"), "Anna");
}

TEST_F(DataRecord, FailuresOfAppendNameTheFileAndGiveTheLockBack) {
    // Calls: 1 lock, 2 and 3 header, 4 seek, 5 record, 6 and 7 header.
    const char* const texts[] = {"Error locking 't.dbf' for write: Injected failure",
                                 "Error reading from 't.dbf': Injected failure",
                                 "Error reading from 't.dbf': Injected failure",
                                 "Error writing to 't.dbf': Injected failure",
                                 "Error writing to 't.dbf': Injected failure",
                                 "Error writing to 't.dbf': Injected failure",
                                 "Error writing to 't.dbf': Injected failure"};
    for (int call = 1; call <= 7; ++call) {
        OvraSQLTable table(database_);
        OpenTwo(table);
        TheHost().FailCall(call);
        EXPECT_FALSE(table.AppendRecord()) << call;
        EXPECT_EQ(Text(table.Error()), texts[call - 1]);
        EXPECT_EQ(table.CurrentRecord(), 0U);
        EXPECT_TRUE(TheHost().Locks().empty());
        // Bytes may lie behind the last record, but the count in the file is the truth.
        EXPECT_EQ(TheHost().FileText("t.dbf").substr(4, 1), std::string("\x02"));
    }
}

TEST_F(DataRecord, AFullCountIsNotRaisedPastItsEnd) {
    TheHost().SetFile("t.dbf", DataFile(3, 0xFFFFFFFFU, 97, 12, kFields));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    EXPECT_FALSE(table.AppendRecord());
    EXPECT_EQ(Text(table.Error()), "Error writing to 't.dbf': File is full");
    EXPECT_EQ(TheHost().CallCount("ovFile_Write"), 0);
}

// All records would lie in one place, and none of them holds even the flag of deletion.
TEST_F(DataRecord, ARecordWithoutBytesIsNotWritten) {
    TheHost().SetFile("t.dbf", DataFile(3, 2, 97, 0, kFields));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    EXPECT_FALSE(table.AppendRecord());
    EXPECT_EQ(Text(table.Error()), "Error writing to 't.dbf': File is corrupt");
    EXPECT_EQ(TheHost().CallCount("ovFile_Write"), 0);
    EXPECT_TRUE(TheHost().Locks().empty());
}

// Record 4,000,000,000 of 65,535 bytes lies far behind 2^31 and 2^32.
TEST_F(DataRecord, OffsetsAreCountedIn64Bits) {
    TheHost().SetFile("t.dbf", DataFile(3, 4000000000U, 97, 65535, kFields));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    TheHost().ClearLog();
    EXPECT_FALSE(table.ReadRecord(4000000000U));
    EXPECT_EQ(TheHost().LogText({"ovFile_Seek"}), "ovFile_Seek t.dbf at 262139999934562\n");
}

TEST_F(DataRecord, UpdatesUnderTheRecordLockAndThenRefreshesTheHeader) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    ASSERT_TRUE(table.ReadRecord(2));
    TheHost().ClearLog();
    table.FindField("NAME")->SetValue("Robert");
    ASSERT_TRUE(table.UpdateRecord());
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Lock t.dbf mode 2 at 109 length 12\n"
              "ovFile_Seek t.dbf at 109\n"
              "ovFile_Write t.dbf at 109 length 12\n"
              "ovFile_Release t.dbf at 109 length 12\n"
              "ovFile_Lock t.dbf mode 2 at 0 length 97\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Read t.dbf at 0 length 32\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Write t.dbf at 0 length 32\n"
              "ovFile_Release t.dbf at 0 length 97\n");
    // The flag of the record in hand goes out with it.
    EXPECT_EQ(Records(), " Anna     42*Rober    7 \x1A");
    EXPECT_NE(TheHost().FileText("t.dbf").substr(1, 3), std::string("\x63\x0C\x1F"));
}

TEST_F(DataRecord, AnUpdateMakesTheNewValuesTheSavedOnes) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    ASSERT_TRUE(table.ReadRecord(1));
    OvraSQLField* name = table.FindField("NAME");
    name->SetValue("Eve");
    EXPECT_STREQ(name->SwapValues(), "Anna");
    EXPECT_STREQ(name->SwapValues(), "Eve");
    TheHost().FailCall("ovFile_Write", 1);
    EXPECT_FALSE(table.UpdateRecord());
    EXPECT_STREQ(name->SwapValues(), "Anna");  // not after a failed write
    EXPECT_STREQ(name->SwapValues(), "Eve");
    ASSERT_TRUE(table.UpdateRecord());
    EXPECT_STREQ(name->SwapValues(), "Eve");
}

TEST_F(DataRecord, FailuresOfUpdateNameTheFileAndGiveTheLocksBack) {
    FailEachCall([](OvraSQLTable& table) { return table.UpdateRecord(); });
}

TEST_F(DataRecord, NoRecordInHandIsNothingToChange) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    EXPECT_FALSE(table.UpdateRecord());
    EXPECT_EQ(Text(table.Error()), "Invalid record number");
    EXPECT_FALSE(table.MarkDeleted(true));
    EXPECT_EQ(Text(table.Error()), "Invalid record number");
    EXPECT_FALSE(table.LockAndReadRecord());
    EXPECT_EQ(Text(table.Error()), "Invalid record number");
    EXPECT_EQ(TheHost().LogText(), "");
}

TEST_F(DataRecord, MarkDeletedWritesOneByteAndRefreshesTheHeader) {
    OvraSQLTable table(database_);
    OpenTwo(table);
    ASSERT_TRUE(table.ReadRecord(1));
    table.FindField("NAME")->SetValue("unsaved");
    TheHost().ClearLog();
    ASSERT_TRUE(table.MarkDeleted(true));
    EXPECT_TRUE(table.IsDeleted());
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Lock t.dbf mode 2 at 97 length 12\n"
              "ovFile_Seek t.dbf at 97\n"
              "ovFile_Write t.dbf at 97 length 1\n"
              "ovFile_Release t.dbf at 97 length 12\n"
              "ovFile_Lock t.dbf mode 2 at 0 length 97\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Read t.dbf at 0 length 32\n"
              "ovFile_Seek t.dbf at 0\n"
              "ovFile_Write t.dbf at 0 length 32\n"
              "ovFile_Release t.dbf at 0 length 97\n");
    EXPECT_EQ(Records(), "*Anna     42*Bob      7 \x1A");
    ASSERT_TRUE(table.MarkDeleted(false));
    EXPECT_EQ(Records(), " Anna     42*Bob      7 \x1A");
}

TEST_F(DataRecord, FailuresOfMarkDeletedHaveTheTextsOfUpdate) {
    FailEachCall([](OvraSQLTable& table) { return table.MarkDeleted(true); });
}

}  // namespace
}  // namespace ovrasql
