#include "foundation/base64.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>

#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

TEST(Base64, EncodesThePublishedExamples) {
    EXPECT_EQ(Std(String("f").Base64Encode()), "Zg==");
    EXPECT_EQ(Std(String("fo").Base64Encode()), "Zm8=");
    EXPECT_EQ(Std(String("foo").Base64Encode()), "Zm9v");
    EXPECT_EQ(Std(String("foob").Base64Encode()), "Zm9vYg==");
    EXPECT_EQ(Std(String("fooba").Base64Encode()), "Zm9vYmE=");
    EXPECT_EQ(Std(String("foobar").Base64Encode()), "Zm9vYmFy");
}

TEST(Base64, UsesTheWholeAlphabet) {
    EXPECT_EQ(Std(EncodeBase64(TextView("\xfb\xff\xbf", 3))), "+/+/");
    EXPECT_EQ(Std(DecodeBase64("+/+/")), "\xfb\xff\xbf");
}

TEST(Base64, SizesItsBuffersFromTheGroups) {
    EXPECT_EQ(String("foob").Base64Encode().Capacity(), 4 * (4 / 3) + 5);
    EXPECT_EQ(String("Zm9vYg==").Base64Decode().Capacity(), 8 + 1);
}

TEST(Base64, EmptyGivesEmpty) {
    EXPECT_EQ(String().Base64Encode().Length(), 0);
    EXPECT_EQ(String("").Base64Decode().Length(), 0);
}

TEST(Base64, DecodesEveryFinalGroup) {
    EXPECT_EQ(Std(String("Zm9v").Base64Decode()), "foo");
    EXPECT_EQ(Std(String("Zm8=").Base64Decode()), "fo");
    EXPECT_EQ(Std(String("Zm8").Base64Decode()), "fo");
    EXPECT_EQ(Std(String("Zg==").Base64Decode()), "f");
    EXPECT_EQ(Std(String("Zg").Base64Decode()), "f");
}

// 'B' stands for the bits 000001; moved up by two they are 4.
TEST(Base64, ALoneLastCharacterGivesItsBitsMovedUpByTwo) {
    EXPECT_EQ(Std(String("B").Base64Decode()), "\x04");
    EXPECT_EQ(Std(String("Zm9vB").Base64Decode()), "foo\x04");
}

TEST(Base64, DropsAtMostTwoPaddingCharacters) {
    EXPECT_EQ(String("=").Base64Decode().Length(), 0);
    EXPECT_EQ(String("==").Base64Decode().Length(), 0);
    // One "=" is left of three, and stands for six bits of 0.
    EXPECT_EQ(Std(String("===").Base64Decode()), std::string(1, '\0'));
}

TEST(Base64, CharactersOutsideTheAlphabetCountAsZero) {
    EXPECT_EQ(Std(String("A?!A").Base64Decode()), std::string(3, '\0'));
    EXPECT_EQ(String("\xff\xfe\xfd\xfc").Base64Decode().Length(), 3);
}

TEST(Base64, EveryByteComesBack) {
    std::string bytes;
    for (int code = 0; code < 256; ++code) {
        bytes.push_back(static_cast<char>(code));
        EXPECT_EQ(Std(String(View(bytes)).Base64Encode().Base64Decode()), bytes);
    }
}

// The views claim more bytes than they have; they must be refused before they are read.
TEST(Base64, RefusesTextsWhoseResultPasses2GiB) {
    const TextView huge("x", std::numeric_limits<int32_t>::max());
    EXPECT_THROW(static_cast<void>(EncodeBase64(huge)), std::bad_alloc);
    EXPECT_THROW(static_cast<void>(DecodeBase64(huge)), std::bad_alloc);
}

}  // namespace
}  // namespace ovrasql
