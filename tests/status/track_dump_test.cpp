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

TEST(TrackDump, LineRulesAndWhetherItAppliesToThePlayingFile) {
    // Keys count inside an input section only, up to its first "Stream #" line (not on
    // that line either); blanks go on the left only, a CR stays; a key with nothing
    // behind it overwrites; a last line without newline counts.
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
    EXPECT_EQ(dump.inputPath + "|" + dump.title + "|" + dump.artist + "|" + dump.album + "|" + dump.date +
                  "|" + dump.genre,
              "/music/b/two.mp3|Second |Someone\r|Album Two||");
    EXPECT_EQ(parse("Input #0, wav\n  title           : t\n").title, "t") << "a section opens without from '";
    EXPECT_EQ(parse("Input #0, from '/a/b.mp3\n").inputPath, "/a/b.mp3") << "no closing quote";

    // The file's name within the dump's path: a lagging dump does not apply, nor does one
    // for a ".wav..." file in any case; a name without a dot is no wav file.
    dump.inputPath = "/m/a/01 - song.flac /m/a/track.WAV /m/a/track.wave /m/a/noext";
    std::string applies;
    for (const char* name :
         {"/other/dir/song.flac", "/m/a/02 - song.flac", "/m/a/track.WAV", "/m/a/track.wave", "/m/a/noext",
          "no-slash.flac", static_cast<const char*>(nullptr)})
        applies += dumpApplies(name, dump) ? "1" : "0";
    EXPECT_EQ(applies, "1000100");
}

TEST(TagMerge, BadFieldsTakeTheDumpOnlyWhenItAppliesAndDenseLatin1TextsAreRepaired) {
    std::string merged;
    for (const char* start : {"", "\xff\xfe", "???", "Good?"}) {
        for (bool applies : {true, false}) {
            std::string field = start;
            mergeTagText(field, "D", applies);
            merged += field + "|";
        }
    }
    EXPECT_EQ(merged, "D||D|\xff\xfe|D|???|Good?|Good?|") << "no dump: bad bytes stay, no repair";
    // The plain merge refuses an invalid dump value; an empty one replaces a bad field.
    std::string year, genre = "???";
    mergeTagPlain(year, "\xff\xfe", true);
    mergeTagPlain(genre, "", true);
    EXPECT_EQ(year + "|" + genre, "|");

    testing::internal::CaptureStdout();
    const std::string doubled = "\xC3\x92\xC3\xB4\xC3\x80\xC3\x96";
    std::string title = doubled, cafe = "Caf\xC3\xA9";
    genre = doubled;
    mergeTagText(title, "", false);
    mergeTagText(cafe, "", false); // one accented letter in five bytes: not dense enough
    mergeTagPlain(genre, "", false);
    EXPECT_EQ(title, "\xE9\x9F\xB3\xE4\xB9\x90");
    EXPECT_EQ(cafe, "Caf\xC3\xA9");
    EXPECT_EQ(genre, doubled) << "plain merges never repair";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "a repair that works prints nothing";
}

TEST(TextRepair, Utf8TestWithItsLatin1CountAndFailedRepairs) {
    // The Latin-1 count of a valid text, -1 for an invalid one: truncated, a stray
    // continuation, a byte that leads nothing, a bad follower.
    std::string counts;
    for (const std::string& text :
         {std::string("Caf\xC3\xA9"), std::string("\xC3\x92\xC3\xB4\xC3\x80\xC3\x96"),
          std::string("\xE4\xB8\xAD"), std::string("a\0b", 3), std::string("\xC3"), std::string("\x80"),
          std::string("\xF8\x80\x80\x80"), std::string("\xE4\xB8\x41")}) {
        int n = -1;
        counts += std::to_string(is_valid_utf8(text, &n) ? n : -1) + " ";
    }
    EXPECT_EQ(counts, "1 4 0 0 -1 -1 -1 -1 ");
    // A character above U+00FF cannot go to Latin-1, a lone GBK lead byte 0x81 ends the
    // second text: the output stays as it was.
    std::string out = "keep me";
    testing::internal::CaptureStdout();
    EXPECT_EQ(fix_double_encoding("A\xE4\xB8\xAD", out), -1);
    EXPECT_EQ(fix_double_encoding("A\xC2\x81", out), -1);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "keep me");
    EXPECT_EQ(iconv_convert("UTF-8", "", "LATIN1", out), 0) << "an empty input gets no buffer and no failure";
    EXPECT_EQ(out, "");
}
