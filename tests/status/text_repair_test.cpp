// The UTF-8 test with its Latin-1 count, the repair's failures and the left trim; a
// successful repair is checked through the tag merge.
#include "status/text_repair.h"

#include <gtest/gtest.h>

TEST(Utf8, StructuralTestAndCount) {
    // The Latin-1 count of a valid text, -1 for an invalid one.
    auto count = [](const std::string& text) {
        int n = -1;
        return is_valid_utf8(text, &n) ? n : -1;
    };
    EXPECT_EQ(count("Caf\xC3\xA9"), 1);
    EXPECT_EQ(count("\xC3\x92\xC3\xB4\xC3\x80\xC3\x96"), 4);
    // Structural only: overlong forms and lead bytes up to F7 pass; NUL is a byte.
    for (const std::string& text : {std::string(), std::string("\xE4\xB8\xAD"), std::string("\xC0\x80"),
                                    std::string("\xF5\x80\x80\x80"), std::string("a\0b", 3)})
        EXPECT_EQ(count(text), 0) << text;
    // Truncated, a stray continuation, a byte that leads nothing, a bad follower.
    for (const char* text : {"\xC3", "\x80", "\xF8\x80\x80\x80", "\xE4\xB8\x41"})
        EXPECT_EQ(count(text), -1) << text;
}

TEST(Repair, FailuresLeaveTheOutputAndPrintTheirLines) {
    std::string out = "keep me";
    auto printed = [](auto run) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(run(), -1);
        return testing::internal::GetCapturedStdout();
    };
    // A character above U+00FF cannot go to Latin-1; a lone GBK lead byte 0x81 ends the
    // second text.
    EXPECT_EQ(printed([&] { return fix_double_encoding("A\xE4\xB8\xAD", out); }),
              "iconv fail\niconv utf-8 -> latin1 fail\n");
    EXPECT_EQ(printed([&] { return fix_double_encoding("A\xC2\x81", out); }),
              "iconv fail\niconv gbk -> utf-8 fail\n");
    EXPECT_EQ(printed([&] { return iconv_convert("NO-SUCH-CHARSET", "abc", "UTF-8", out); }),
              "iconv_open fail\n");
    EXPECT_EQ(out, "keep me");
    EXPECT_EQ(iconv_convert("UTF-8", "", "LATIN1", out), 0) << "an empty input gets no buffer and no failure";
    EXPECT_EQ(out, "");
}

TEST(Ltrim, OnlyTheLeftSide) {
    EXPECT_EQ(ltrim(" \t\n\r\f\vvalue \r"), "value \r");
    EXPECT_EQ(ltrim(" \t "), "");
}
