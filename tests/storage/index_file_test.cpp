// Index files: making, opening, what is refused, and single pages.

#include <algorithm>

#include "tests/storage/index_support.h"

namespace ovrasql {
namespace {

class IndexFileTest : public IndexTest {};

TEST_F(IndexFileTest, ANewFileIsAHeaderAndAnEmptyPage) {
    ASSERT_TRUE(index_->Create("t.ovx", "toupper( d.NAME )", 5));
    const std::string expected = Padded(FromHex("4F 56 58 49"   // "OVXI"
                                                "03"            // version
                                                "00 00 00 00"   // generation
                                                "02 00 00 00"   // next page
                                                "01 00 00 00"   // root
                                                "08 00"         // keys per page
                                                "00 04"         // page size
                                                "6C 00"         // entry size
                                                "05 00 00 00")  // UNIQUE, text
                                            + "toupper( d.NAME )",
                                        2048);
    EXPECT_EQ(Hex(TheHost().FileText("t.ovx")), Hex(expected));
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Open t.ovx flags 15\n"
              "ovFile_Seek t.ovx at 0\n"
              "ovFile_Write t.ovx at 0 length 427\n"
              "ovFile_Seek t.ovx at 1024\n"
              "ovFile_Write t.ovx at 1024 length 1024\n");
    EXPECT_TRUE(index_->IsUnique());
    EXPECT_EQ(index_->Flags(), 5);
    EXPECT_EQ(index_->Generation(), 0U);
    EXPECT_EQ(index_->PageCount(), 2U);
    EXPECT_EQ(index_->RootPage(), 1U);
    EXPECT_EQ(index_->KeyRoom(), 100);
    EXPECT_EQ(Text(index_->KeyExpression()), "toupper( d.NAME )");
    EXPECT_EQ(Text(index_->Path()), "t.ovx");
    EXPECT_FALSE(index_->Failed());
}

// One that fills its room has no NUL behind it.
TEST_F(IndexFileTest, AKeyExpressionIsCutAt400Bytes) {
    for (const size_t length : {398, 399, 400, 401, 500}) {
        const size_t kept = std::min<size_t>(length, 400);
        ASSERT_TRUE(index_->Create("t.ovx", View(std::string(length, 'x')), 0));
        EXPECT_EQ(FileHeader().substr(27), std::string(kept, 'x') + std::string(400 - kept, '\0'));
        EXPECT_EQ(index_->KeyExpression().length, static_cast<int32_t>(kept));
    }
}

TEST_F(IndexFileTest, CreateEmptiesAnOldFile) {
    TheHost().SetFile("t.ovx", std::string(5000, 'x'));
    Create(0);
    EXPECT_EQ(TheHost().FileText("t.ovx").size(), 2048U);
}

TEST_F(IndexFileTest, CreateSaysWhatFailed) {
    TheHost().FailCall("ovFile_Open", 1);
    EXPECT_FALSE(index_->Create("dir/t.ovx", "", 0));
    EXPECT_EQ(Text(index_->Error()), "Error creating 'dir/t.ovx': host text");
    EXPECT_TRUE(index_->Failed());
}

TEST_F(IndexFileTest, CreateClosesTheFileWhenAWriteFails) {
    for (const int64_t call : {1, 2}) {
        TheHost().FailCall("ovFile_Write", call);
        EXPECT_FALSE(index_->Create("t.ovx", "", 0));
        EXPECT_EQ(Text(index_->Error()), "Error writing to 't.ovx': host text");
        EXPECT_FALSE(index_->IsOpen());
        EXPECT_EQ(TheHost().OpenFileCount(), 0);
    }
}

TEST_F(IndexFileTest, CreateFromHandlesTakesTheHandleOver) {
    Create(0);
    void* file = ::ovFile_Open(TheHost().Program(), 2, "u.ovx", 5, 15);
    ASSERT_TRUE(index_->CreateFromHandles(file, "u.ovx", "e", 2));
    EXPECT_EQ(TheHost().OpenFileCount(), 1);  // the file open before is closed
    EXPECT_EQ(TheHost().FileText("u.ovx"),
              IndexFile({.flags = 2, .expression = "e"}, {PageBytes({})}));
}

// The new file is made before the one open so far is closed, which a failure leaves as it was.
TEST_F(IndexFileTest, CreateReplacesAnOpenFileOnlyWhenTheNewOneIsThere) {
    Create(0);
    Insert("A");
    TheHost().FailCall("ovFile_Open", 1);
    EXPECT_FALSE(index_->Create("u.ovx", "", 0));
    EXPECT_EQ(Text(index_->Error()), "Error creating 'u.ovx': host text");
    TheHost().ClearFailures();
    EXPECT_EQ(Text(index_->Path()), "t.ovx");
    EXPECT_EQ(Forward(*index_), "1");
    TheHost().ClearLog();
    ASSERT_TRUE(index_->Create("u.ovx", "", 0));
    EXPECT_EQ(TheHost().LogText({"ovFile_Open", "ovFile_Close", "ovFile_Write"}),
              "ovFile_Open u.ovx flags 15\n"
              "ovFile_Close t.ovx\n"
              "ovFile_Write u.ovx at 0 length 427\n"
              "ovFile_Write u.ovx at 1024 length 1024\n");
}

TEST_F(IndexFileTest, CreateFromANullHandleIsAnInternalError) {
    EXPECT_FALSE(index_->CreateFromHandles(nullptr, "t.ovx", "", 0));
    EXPECT_EQ(Text(index_->Error()), "Internal error opening 't.ovx'");
}

TEST_F(IndexFileTest, AMissingFileFails) {
    EXPECT_FALSE(index_->Open("t.ovx", 3));
    EXPECT_EQ(Text(index_->Error()), "Error opening 't.ovx': host text");
    EXPECT_FALSE(index_->IsOpen());
}

TEST_F(IndexFileTest, OpenReadsTheHeaderAndNothingElse) {
    TheHost().SetFile("t.ovx", IndexFile({.flags = 3, .expression = "expr"}, {PageBytes({})}));
    ASSERT_TRUE(index_->Open("t.ovx", 3));
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Open t.ovx flags 3\n"
              "ovFile_Seek t.ovx at 0\n"
              "ovFile_Read t.ovx at 0 length 427\n");
    EXPECT_EQ(index_->Flags(), 3);
    EXPECT_EQ(Text(index_->KeyExpression()), "expr");
}

TEST_F(IndexFileTest, AnExpressionWithoutItsEndFillsItsRoom) {
    const std::string expression(400, 'x');
    TheHost().SetFile("t.ovx", IndexFile({.expression = expression}, {PageBytes({})}));
    ASSERT_TRUE(index_->Open("t.ovx", 3));
    EXPECT_EQ(Text(index_->KeyExpression()), expression);
}

// Whatever is refused stays open until it is closed.
TEST_F(IndexFileTest, FilesThatAreNoIndexAreRefused) {
    const std::string corrupt = "'t.ovx' is either corrupt or is not a valid index file";
    const std::string newer = "'t.ovx' was created by a newer version of the software";
    const std::vector<std::pair<HeaderValues, std::string>> cases = {
        {{.magic = "OVXJ"}, corrupt},
        {{.version = 4, .magic = "ovxi"}, corrupt},  // the magic comes first
        {{.version = 4}, newer},
        {{.version = 255}, newer},
        {{.pageSize = 0}, corrupt},
        {{.entrySize = 0}, corrupt},
        {{.entrySize = 9}, corrupt},
        {{.pageSize = 115}, corrupt},  // 4 + 108 + 4 are needed
        {{.pageSize = 0, .version = 4}, newer},
    };
    for (const auto& [header, message] : cases) {
        TheHost().SetFile("t.ovx", Padded(IndexHeaderBytes(header), 2048));
        EXPECT_FALSE(index_->Open("t.ovx", 3));
        EXPECT_EQ(Text(index_->Error()), message);
        EXPECT_TRUE(index_->IsOpen());
        EXPECT_TRUE(index_->Failed());
        index_->Close();
        EXPECT_EQ(TheHost().OpenFileCount(), 0);
    }
}

TEST_F(IndexFileTest, OldVersionsAndTheLeastSizesAreAccepted) {
    for (const HeaderValues& header :
         {HeaderValues{.version = 0}, HeaderValues{.version = 3}, HeaderValues{.pageSize = 116},
          HeaderValues{.pageSize = 18, .entrySize = 10}, HeaderValues{.order = 0}}) {
        TheHost().SetFile("t.ovx", Padded(IndexHeaderBytes(header), 2048));
        EXPECT_TRUE(index_->Open("t.ovx", 3)) << Text(index_->Error());
    }
}

TEST_F(IndexFileTest, AShortFileFailsAsARead) {
    TheHost().SetFile("t.ovx", IndexHeaderBytes({}).substr(0, 426));
    EXPECT_FALSE(index_->Open("t.ovx", 3));
    EXPECT_EQ(Text(index_->Error()), "Error reading from 't.ovx': host text");
    EXPECT_TRUE(index_->IsOpen());
}

// Sizes that turn bad under an open index end the operation, and don't stick.
TEST_F(IndexFileTest, AHeaderThatTurnsBadIsRefusedAtTheNextOperation) {
    Create(0);
    Insert("A B");
    const std::string good = TheHost().FileText("t.ovx");
    TheHost().SetFile("t.ovx", Padded(IndexHeaderBytes({.pageSize = 12}), 2048));
    uint32_t record = 9;
    bool found = true;
    EXPECT_TRUE(index_->Seek("A", true, &record, &found, true));
    EXPECT_EQ(record, 0U);
    EXPECT_FALSE(found);
    EXPECT_TRUE(index_->Failed());
    EXPECT_EQ(Text(index_->Error()), "'t.ovx' is either corrupt or is not a valid index file");
    EXPECT_FALSE(index_->InsertKey(3, "C"));
    EXPECT_FALSE(index_->DeleteKey(1, "A"));
    TheHost().SetFile("t.ovx", good);
    EXPECT_EQ(Forward(*index_), "1 2");
}

// Page and entry size come from the header. With 20-byte entries a key has 11 bytes and its NUL.
TEST_F(IndexFileTest, OtherSizesWork) {
    // The header is longer than such a page: page 5 is the first behind it.
    const HeaderValues header{
        .nextPage = 6, .root = 5, .order = 4, .pageSize = 96, .entrySize = 20};
    OpenBytes(Padded(Padded(IndexHeaderBytes(header), 480), 576));
    EXPECT_EQ(index_->KeyRoom(), 12);
    Insert("ABCDEFGHIJKLMNOP B C D E");
    EXPECT_EQ(Shape(), "(ABCDEFGHIJK1 B2) C3 (D4 E5)");
    EXPECT_EQ(Sought(*index_, "ABCDEFGHIJKXX"), "found 1");
    EXPECT_EQ(Forward(*index_), "1 2 3 4 5");
}

TEST_F(IndexFileTest, KeysAreCutAt99Bytes) {
    Create(0);
    const std::string key99(99, 'K');
    ASSERT_TRUE(index_->InsertKey(1, View(key99)));
    EXPECT_EQ(FilePage(1), PageBytes({{0, 1, key99}}));
    EXPECT_EQ(Sought(*index_, key99), "found 1");
    ASSERT_TRUE(index_->InsertKey(2, View(key99 + "A")));  // equal now, so in front
    EXPECT_EQ(FilePage(1), PageBytes({{0, 2, key99}, {0, 1, key99}}));
    EXPECT_EQ(Sought(*index_, key99 + "ZZZ"), "found 2");
    ASSERT_TRUE(index_->DeleteKey(1, View(key99 + "QQ")));
    EXPECT_EQ(FilePage(1).substr(0, 220),
              PageBytes({{0, 2, key99}}, 0, Little32(1) + key99).substr(0, 220));
}

// A key ends at its first NUL, whatever length comes with it.
TEST_F(IndexFileTest, AKeyEndsAtItsNul) {
    Create(0);
    ASSERT_TRUE(index_->InsertKey(1, TextView("AB\0CD", 5)));
    EXPECT_EQ(FilePage(1), PageBytes({{0, 1, "AB"}}));
    uint32_t record = 0;
    bool found = false;
    ASSERT_TRUE(index_->Seek(TextView("AB\0X", 4), true, &record, &found, true));
    EXPECT_TRUE(found);
}

TEST_F(IndexFileTest, AClosedIndexAnswersWithFailures) {
    uint32_t record = 9;
    bool found = true;
    EXPECT_FALSE(index_->Seek("A", true, &record, &found, true));
    EXPECT_EQ(record, 0U);
    EXPECT_TRUE(index_->First(&record, true));
    EXPECT_TRUE(index_->Failed());
    EXPECT_TRUE(index_->First(&record, false));
    EXPECT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_TRUE(index_->Previous(&record, true));
    EXPECT_TRUE(index_->Last(&record, true));
    EXPECT_FALSE(index_->SeekRecord("A", 1, false));
    EXPECT_FALSE(index_->InsertKey(1, "A"));
    EXPECT_EQ(Text(index_->Error()), "Error locking '' for write");
    EXPECT_FALSE(index_->DeleteKey(1, "A"));
    EXPECT_FALSE(index_->DeleteCurrentKey(1));
    EXPECT_EQ(index_->KeyRoom(), 0);
    EXPECT_TRUE(index_->KeyExpression().IsEmpty());
    EXPECT_EQ(TheHost().LogText(), "");
}

}  // namespace
}  // namespace ovrasql
