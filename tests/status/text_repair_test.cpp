// The UTF-8 test with its Latin-1 count, the double-encoding repair and the left trim.
#include "status/text_repair.h"

#include <gtest/gtest.h>

namespace {

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (int v : values)
        text.push_back(static_cast<char>(v));
    return text;
}

} // namespace

TEST(Utf8, StructuralTestAndCount) {
    int count = -1;
    EXPECT_TRUE(is_valid_utf8("", &count));
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(is_valid_utf8(bytes({0x43, 0x61, 0x66, 0xC3, 0xA9}), &count));
    EXPECT_EQ(count, 1);
    EXPECT_TRUE(is_valid_utf8(bytes({0xE4, 0xB8, 0xAD}), &count));
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(is_valid_utf8(bytes({0xC3, 0x92, 0xC3, 0xB4, 0xC3, 0x80, 0xC3, 0x96}), &count));
    EXPECT_EQ(count, 4);
    // Structural only: overlong forms and lead bytes up to F7 pass; NUL is a byte.
    EXPECT_TRUE(is_valid_utf8(bytes({0xC0, 0x80}), nullptr));
    EXPECT_TRUE(is_valid_utf8(bytes({0xF5, 0x80, 0x80, 0x80}), nullptr));
    EXPECT_TRUE(is_valid_utf8(std::string("a\0b", 3), nullptr));
    // Truncated, stray continuation, and bytes that lead nothing.
    EXPECT_FALSE(is_valid_utf8(bytes({0xC3}), &count));
    EXPECT_EQ(count, 1) << "counted before the continuation byte is looked at";
    EXPECT_FALSE(is_valid_utf8(bytes({0x80}), nullptr));
    EXPECT_FALSE(is_valid_utf8(bytes({0xF8, 0x80, 0x80, 0x80}), nullptr));
    EXPECT_FALSE(is_valid_utf8(bytes({0xE4, 0xB8, 0x41}), nullptr));
    EXPECT_FALSE(is_valid_utf8(bytes({0x41, 0xE4, 0xB8}), nullptr));
}

TEST(Repair, DoubleEncodedGbkComesBack) {
    testing::internal::CaptureStdout();
    std::string out = "untouched";
    ASSERT_EQ(fix_double_encoding(bytes({0xC3, 0x92, 0xC3, 0xB4, 0xC3, 0x80, 0xC3, 0x96}), out), 0);
    EXPECT_EQ(out, bytes({0xE9, 0x9F, 0xB3, 0xE4, 0xB9, 0x90}));
    ASSERT_EQ(fix_double_encoding(bytes({0xC3, 0xA9, 0xC3, 0xA9}), out), 0);
    EXPECT_EQ(out, bytes({0xE6, 0xAE, 0x9A}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Repair, FailuresLeaveTheOutputAndPrintTwoLines) {
    std::string out = "keep me";
    testing::internal::CaptureStdout();
    // A character above U+00FF cannot go to Latin-1.
    EXPECT_EQ(fix_double_encoding(bytes({0x41, 0xE4, 0xB8, 0xAD}), out), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "iconv fail\niconv utf-8 -> latin1 fail\n");
    EXPECT_EQ(out, "keep me");

    // Latin-1 bytes that are no complete GBK: a lone lead byte 0x81 at the end.
    testing::internal::CaptureStdout();
    EXPECT_EQ(fix_double_encoding(bytes({0x41, 0xC2, 0x81}), out), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "iconv fail\niconv gbk -> utf-8 fail\n");
    EXPECT_EQ(out, "keep me");

    testing::internal::CaptureStdout();
    EXPECT_EQ(iconv_convert("NO-SUCH-CHARSET", "abc", "UTF-8", out), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "iconv_open fail\n");
    EXPECT_EQ(out, "keep me");
}

TEST(Repair, EmptyInputConvertsToEmpty) {
    std::string out = "x";
    EXPECT_EQ(iconv_convert("UTF-8", "", "LATIN1", out), 0);
    EXPECT_EQ(out, "");
}

TEST(Ltrim, OnlyTheLeftSide) {
    EXPECT_EQ(ltrim(" \t\n\r\f\vvalue \r"), "value \r");
    EXPECT_EQ(ltrim(" \t "), "");
    EXPECT_EQ(ltrim(""), "");
    EXPECT_EQ(ltrim("x"), "x");
}
