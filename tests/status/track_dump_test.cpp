// The tag sources besides the status file: the service's dump with its line rules and
// whether it applies to the playing file, the tag merges, and the repair of text that
// arrives double encoded.
#include "status/text_repair.h"
#include "status/track_dump.h"

#include <gtest/gtest.h>

namespace {

TrackDump parse(const std::string& text) {
    TrackDump dump;
    parseMusicInfoText(text.data(), text.size(), &dump);
    return dump;
}

} // namespace

TEST(DumpParser, SectionsKeysAndTheirSpacing) {
    auto dump = parse("title           : before any input\n"
                      "Input #0, flac, from '/music/a/one.flac':  title           : on input line\n"
                      "    artist          : Someone\r\n"
                      "    album_artist    : not an album key\n"
                      "    date            : 1999\n"
                      "    date            :\n"
                      "    Stream #0:0: Audio: flac  genre           : on stream line\n"
                      "    genre           : after stream\n"
                      "Input #1, mp3, from '/music/b/two.mp3':\n"
                      "    title           : \t Second \n"
                      "    album           : Album Two");
    EXPECT_EQ(dump.inputPath, "/music/b/two.mp3");
    EXPECT_EQ(dump.title, "Second ") << "blanks go on the left only";
    EXPECT_EQ(dump.artist, "Someone\r");
    EXPECT_EQ(dump.album, "Album Two") << "a last line without newline counts";
    EXPECT_EQ(dump.date, "") << "a key with nothing behind it overwrites";
    EXPECT_EQ(dump.genre, "") << "keys after Stream # and on its line are ignored";
    EXPECT_EQ(parse("Input #0, wav\n  title           : t\n").title, "t") << "a section opens without from '";
    EXPECT_EQ(parse("Input #0, from '/a/b.mp3\n").inputPath, "/a/b.mp3") << "no closing quote";
    EXPECT_EQ(parse("Input #0, from '/a/b':c.mp3': tail\n").inputPath, "/a/b':c.mp3 tail")
        << "the last \"':\" is removed";
}

TEST(DumpApplies, NameMatchingAndWavFiles) {
    TrackDump dump;
    dump.inputPath = "/mnt/SDCARD/Music/album/01 - song.flac";
    EXPECT_TRUE(dumpApplies("/other/dir/song.flac", dump)) << "a substring of the dump's path matches";
    EXPECT_FALSE(dumpApplies("/mnt/SDCARD/Music/album/02 - song.flac", dump)) << "a lagging dump";
    EXPECT_FALSE(dumpApplies(nullptr, dump));
    EXPECT_FALSE(dumpApplies("no-slash.flac", dump));
    dump.inputPath = "/m/a/track.WAV /m/a/track.wave /m/a/noext";
    EXPECT_FALSE(dumpApplies("/m/a/track.WAV", dump));
    EXPECT_FALSE(dumpApplies("/m/a/track.wave", dump));
    EXPECT_TRUE(dumpApplies("/m/a/noext", dump)) << "no extension is no wav file";
}

TEST(TagMerge, BadFieldsTakeTheDumpOnlyWhenItApplies) {
    for (const std::string& bad : {std::string(""), std::string("\xff\xfe"), std::string("???")}) {
        for (bool applies : {true, false}) {
            std::string field = bad;
            mergeTagText(field, "From dump", applies);
            EXPECT_EQ(field, applies ? "From dump" : bad) << "no dump: bad bytes stay, no repair";
        }
    }
    std::string good = "Good?";
    mergeTagText(good, "From dump", true);
    EXPECT_EQ(good, "Good?");
    // The plain merge refuses an invalid dump value; an empty one replaces a bad field.
    std::string year, genre = "???";
    mergeTagPlain(year, "\xff\xfe", true);
    mergeTagPlain(genre, "", true);
    EXPECT_EQ(year + "|" + genre, "|");
}

TEST(TagMerge, DenseLatin1TextsAreRepaired) {
    testing::internal::CaptureStdout();
    const std::string doubled = "\xC3\x92\xC3\xB4\xC3\x80\xC3\x96";
    std::string title = doubled, cafe = "Caf\xC3\xA9", genre = doubled;
    mergeTagText(title, "", false);
    mergeTagText(cafe, "", false); // one accented letter in five bytes: not dense enough
    mergeTagPlain(genre, "", false);
    EXPECT_EQ(title, "\xE9\x9F\xB3\xE4\xB9\x90");
    EXPECT_EQ(cafe, "Caf\xC3\xA9");
    EXPECT_EQ(genre, doubled) << "plain merges never repair";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "a repair that works prints nothing";
}

TEST(TextRepair, Utf8TestWithItsLatin1CountAndFailedRepairs) {
    // The Latin-1 count of a valid text, -1 for an invalid one. Structural only: overlong
    // forms and lead bytes up to F7 pass; NUL is a byte. Then: truncated, a stray
    // continuation, a byte that leads nothing, a bad follower.
    for (const auto& [text, expected] : {std::pair{std::string("Caf\xC3\xA9"), 1},
                                         {"\xC3\x92\xC3\xB4\xC3\x80\xC3\x96", 4},
                                         {"", 0},
                                         {"\xE4\xB8\xAD", 0},
                                         {"\xC0\x80", 0},
                                         {"\xF5\x80\x80\x80", 0},
                                         {std::string("a\0b", 3), 0},
                                         {"\xC3", -1},
                                         {"\x80", -1},
                                         {"\xF8\x80\x80\x80", -1},
                                         {"\xE4\xB8\x41", -1}}) {
        int n = -1;
        EXPECT_EQ(is_valid_utf8(text, &n) ? n : -1, expected) << text;
    }
    // A character above U+00FF cannot go to Latin-1; a lone GBK lead byte 0x81 ends the
    // second text. Either way the output stays as it was.
    std::string out = "keep me";
    for (const auto& [text, printed] :
         {std::pair{"A\xE4\xB8\xAD", "iconv fail\niconv utf-8 -> latin1 fail\n"},
          {"A\xC2\x81", "iconv fail\niconv gbk -> utf-8 fail\n"}}) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(fix_double_encoding(text, out), -1);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    }
    EXPECT_EQ(out, "keep me");
    EXPECT_EQ(iconv_convert("UTF-8", "", "LATIN1", out), 0) << "an empty input gets no buffer and no failure";
    EXPECT_EQ(out, "");
}
