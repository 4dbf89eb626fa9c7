// The dump's line rules, whether it applies to the playing file, and the tag merges.
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
                      "    subtitle        : not the title key\n"
                      "    date            : 1999\n"
                      "    date            :\n"
                      "    Stream #0:0: Audio: flac  genre           : on stream line\n"
                      "    genre           : after stream\n"
                      "Input #1, mp3, from '/music/b/two.mp3':\n"
                      "    title           : Second\n"
                      "    album           : Album Two");
    EXPECT_EQ(dump.inputPath, "/music/b/two.mp3");
    EXPECT_EQ(dump.title, "Second");
    EXPECT_EQ(dump.artist, "Someone\r") << "trailing blanks and CR stay";
    EXPECT_EQ(dump.album, "Album Two") << "a last line without newline counts";
    EXPECT_EQ(dump.date, "") << "a key with nothing behind it overwrites";
    EXPECT_EQ(dump.genre, "") << "keys after Stream # and on its line are ignored";
    EXPECT_EQ(parse("Input #0, from 'x':\n    subtitle        : one\n").title, "") << "fewer spaces: no key";
    EXPECT_EQ(parse("Input #0, from 'x':\n    title           : \t one \n").title, "one ");
}

TEST(DumpParser, InputLinesWithoutQuotes) {
    EXPECT_EQ(parse("Input #0, wav\n  title           : t\n").title, "t") << "section opens without from '";
    EXPECT_EQ(parse("Input #0, from '/a/b.mp3\n").inputPath, "/a/b.mp3") << "no closing quote";
    EXPECT_EQ(parse("Input #0, from '/a/b':c.mp3': tail\n").inputPath, "/a/b':c.mp3 tail")
        << "last \"':\" removed";
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
    const std::string invalid = "\xff\xfe";
    for (const std::string& bad : {std::string(""), invalid, std::string("???")}) {
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
    std::string year, genre = "???", other = "???";
    mergeTagPlain(year, invalid, true);
    mergeTagPlain(genre, "", true);
    mergeTagPlain(other, "Rock", false);
    EXPECT_EQ(year, "");
    EXPECT_EQ(genre, "");
    EXPECT_EQ(other, "???");
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
