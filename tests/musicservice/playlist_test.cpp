// The service's lists and play order: which files a folder gives and in what order,
// the three play modes under next, previous and the end of a track, the hand-over
// protocol (peek, then commit), the M3U lists and the recent list kept across runs.
#include "base/natural_order.h"
#include "musicservice/m3u.h"
#include "musicservice/music_folder.h"
#include "musicservice/playlist.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace {

class PlaylistTest : public testing::Test {
protected:
    void SetUp() override {
        playlistReset();
        playlistInit((mScratch.path() + "/data").c_str());
        mDir = mScratch.path() + "/music";
        makeDirs(mDir);
    }
    void TearDown() override { playlistReset(); }

    std::string track(const std::string& name) {
        std::string path = mDir + "/" + name;
        writeFile(path, "x");
        return path;
    }
    // A folder of count tracks "01.flac" ... selected at the first one.
    std::vector<std::string> folderOf(int count) {
        std::vector<std::string> paths;
        for (int i = 1; i <= count; ++i)
            paths.push_back(track((i < 10 ? "0" : "") + std::to_string(i) + ".flac"));
        EXPECT_EQ(playlistSetDir(mDir.c_str()), count);
        EXPECT_EQ(playlistSelect(kListDir, paths[0].c_str()), 0);
        return paths;
    }
    std::string step(PlaylistStep how) {
        std::string path;
        return playlistStep(how, &path) == 0 ? path : std::string("(none)");
    }

    ScratchDir mScratch{"playlist"};
    std::string mDir;
};

TEST_F(PlaylistTest, FolderListHoldsTheMusicFilesInTheLibrarysOrder) {
    track("track10.mp3");
    track("Track2.flac");
    track("track1.wav");
    track("b.ape");
    track("A.dsf");
    track("c.wma");
    track("upper.MP3");     // the library shows only the suffixes in this case
    track("cover.jpg");
    track(".hidden.mp3");
    track("noext");
    makeDirs(mDir + "/folder.mp3"); // a folder is never a track
    std::vector<std::string> paths;
    ASSERT_EQ(scanMusicFolder(mDir, &paths), 6);
    std::vector<std::string> names;
    for (const std::string& path : paths)
        names.push_back(path.substr(mDir.size() + 1));
    EXPECT_EQ(names, (std::vector<std::string>{"A.dsf", "b.ape", "c.wma", "track1.wav", "Track2.flac", "track10.mp3"}));
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end(), naturalLess));
    EXPECT_EQ(scanMusicFolder(mDir + "/missing", &paths), -1);
    EXPECT_TRUE(paths.empty());
}

TEST_F(PlaylistTest, SequenceStopsAtTheEndButNextAndPreviousWrap) {
    std::vector<std::string> paths = folderOf(3);
    EXPECT_EQ(step(kStepAuto), paths[1]);
    EXPECT_EQ(step(kStepAuto), paths[2]);
    EXPECT_EQ(step(kStepAuto), "(none)");
    std::string current;
    ASSERT_EQ(playlistCurrent(&current), 0);
    EXPECT_EQ(current, paths[2]) << "the end of the list leaves the cursor on the last track";
    EXPECT_EQ(step(kStepNext), paths[0]);
    EXPECT_EQ(step(kStepPrevious), paths[2]);
    EXPECT_EQ(step(kStepPrevious), paths[1]);
}

TEST_F(PlaylistTest, RepeatOneRepeatsAtTheEndButMovesOnRequestAndAfterAFailure) {
    std::vector<std::string> paths = folderOf(3);
    ASSERT_EQ(playlistSetMode(kModeRepeatOne), 0);
    EXPECT_EQ(step(kStepAuto), paths[0]);
    EXPECT_EQ(step(kStepAuto), paths[0]);
    EXPECT_EQ(step(kStepNext), paths[1]);
    EXPECT_EQ(step(kStepSkip), paths[2]) << "a file that cannot play is not tried again and again";
    EXPECT_EQ(step(kStepSkip), "(none)");
    EXPECT_EQ(step(kStepPrevious), paths[1]);
}

TEST_F(PlaylistTest, RandomPlaysEveryTrackOnceBeforeAnyRepeats) {
    std::vector<std::string> paths = folderOf(12);
    ASSERT_EQ(playlistSetMode(kModeRandom), 0);
    for (int round = 0; round < 5; ++round) {
        std::string current;
        ASSERT_EQ(playlistCurrent(&current), 0);
        std::set<std::string> heard{current};
        std::string last = current;
        for (int i = 1; i < 12; ++i) {
            std::string next = step(i % 2 ? kStepAuto : kStepNext);
            EXPECT_TRUE(heard.insert(next).second) << "round " << round << ": " << next << " came twice";
            last = next;
        }
        EXPECT_EQ(heard.size(), 12u);
        // The next round begins with a new order, never with the track just heard.
        std::string first = step(kStepAuto);
        EXPECT_NE(first, last);
        EXPECT_NE(first, "(none)") << "random order never runs out";
    }
}

TEST_F(PlaylistTest, ReturnToPutsTheCursorBackOnTheTrackStillHeard) {
    std::vector<std::string> paths = folderOf(4);
    EXPECT_EQ(step(kStepAuto), paths[1]);
    ASSERT_EQ(playlistReturnTo(paths[0]), 0);
    EXPECT_EQ(step(kStepNext), paths[1]) << "next from the heard track, not from the one after it";
    EXPECT_EQ(playlistReturnTo("/not/in/the/list.mp3"), -1);
}

TEST_F(PlaylistTest, RandomPreviousRetracesNext) {
    folderOf(6);
    ASSERT_EQ(playlistSetMode(kModeRandom), 0);
    std::string start;
    ASSERT_EQ(playlistCurrent(&start), 0);
    std::string a = step(kStepNext), b = step(kStepNext);
    (void)b;
    EXPECT_EQ(step(kStepPrevious), a);
    EXPECT_EQ(step(kStepPrevious), start);
}

TEST_F(PlaylistTest, PeekThenCommitMakesTheSameStepUnlessTheListChanged) {
    std::vector<std::string> paths = folderOf(4);
    for (int mode : {kModeSequence, kModeRandom, kModeRepeatOne}) {
        ASSERT_EQ(playlistSetMode(mode), 0);
        std::string peeked;
        uint64_t version = 0;
        ASSERT_EQ(playlistPeekAuto(&peeked, &version), 0);
        std::string again;
        uint64_t versionAgain = 0;
        ASSERT_EQ(playlistPeekAuto(&again, &versionAgain), 0);
        EXPECT_EQ(again, peeked) << "peeking twice gives the same track in mode " << mode;
        ASSERT_EQ(playlistCommitAuto(version), 0);
        std::string current;
        ASSERT_EQ(playlistCurrent(&current), 0);
        EXPECT_EQ(current, peeked) << "mode " << mode;
    }
    std::string peeked;
    uint64_t version = 0;
    ASSERT_EQ(playlistPeekAuto(&peeked, &version), 0);
    ASSERT_EQ(playlistSetMode(kModeSequence), 0);
    EXPECT_EQ(playlistCommitAuto(version), -1) << "a mode change voids a peek";
    ASSERT_EQ(playlistSelect(kListDir, paths[3].c_str()), 0);
    EXPECT_EQ(playlistPeekAuto(&peeked, &version), -1) << "sequence ends after the last track";
}

TEST_F(PlaylistTest, PlayingListIsACopyThatSetPlayDirDoesNotDisturb) {
    std::vector<std::string> paths = folderOf(3);
    std::string other = mScratch.path() + "/other";
    makeDirs(other);
    writeFile(other + "/x.mp3", "x");
    ASSERT_EQ(playlistSetDir(other.c_str()), 1);
    EXPECT_EQ(step(kStepNext), paths[1]);
    // A file outside the folder list brings its own folder in.
    std::string lone = mScratch.path() + "/lone/only.wav";
    makeDirs(mScratch.path() + "/lone");
    writeFile(lone, "x");
    ASSERT_EQ(playlistSelect(kListDir, lone.c_str()), 0);
    EXPECT_EQ(playlistPlayingCount(), 1);
    EXPECT_EQ(playlistSelect(kListDir, (mDir + "/absent.mp3").c_str()), -1);
    EXPECT_EQ(playlistPlayingCount(), 1) << "a refused path changes nothing";
}

TEST_F(PlaylistTest, M3uListsAreReadWithCommentsRelativePathsAndForeignLineEnds) {
    std::string file = mScratch.path() + "/data/playlist.m3u";
    writeFile(file, "\xEF\xBB\xBF#EXTM3U\r\n#EXTINF:10,Title\r\n/abs/a.mp3\r\n\r\n  rel/b.flac\n# note\n/abs/c.wav");
    std::vector<std::string> paths;
    ASSERT_EQ(m3uLoad(file, &paths), 3);
    EXPECT_EQ(paths, (std::vector<std::string>{"/abs/a.mp3", mScratch.path() + "/data/rel/b.flac", "/abs/c.wav"}));
    ASSERT_EQ(m3uSave(file, paths), 0);
    std::vector<std::string> back;
    ASSERT_EQ(m3uLoad(file, &back), 3);
    EXPECT_EQ(back, paths);
    EXPECT_EQ(m3uLoad(mScratch.path() + "/none.m3u", &back), -1);
}

TEST_F(PlaylistTest, PlaylistAndFavouritesComeFromTheirFilesAndSetTheListType) {
    std::vector<std::string> paths = folderOf(3);
    std::string data = mScratch.path() + "/data";
    writeFile(data + "/playlist.m3u", "#EXTM3U\n" + paths[2] + "\n" + paths[0] + "\n");
    writeFile(data + "/favorite.m3u", paths[1] + "\n");
    EXPECT_EQ(playlistCurrentType(), kListDir);
    ASSERT_EQ(playlistSelect(kListPlaylist, paths[2].c_str()), 0);
    EXPECT_EQ(playlistCurrentType(), kListPlaylist);
    EXPECT_EQ(step(kStepAuto), paths[0]) << "the playlist's own order";
    EXPECT_EQ(playlistSelect(kListFavorite, paths[0].c_str()), -1);
    EXPECT_EQ(playlistCurrentType(), kListPlaylist);
    ASSERT_EQ(playlistSelect(kListFavorite, paths[1].c_str()), 0);
    EXPECT_EQ(playlistCurrentType(), kListFavorite);
    std::vector<std::string> favorites;
    EXPECT_EQ(playlistFavorites(&favorites), 1);
    EXPECT_EQ(favorites, std::vector<std::string>{paths[1]});
}

TEST_F(PlaylistTest, RecentListPutsTheNewestFirstAndSurvivesARestart) {
    std::vector<std::string> paths = folderOf(3);
    playlistNoteStarted(paths[0]);
    playlistNoteStarted(paths[1]);
    playlistNoteStarted(paths[0]);
    EXPECT_EQ(playlistRecent(), (std::vector<std::string>{paths[0], paths[1]}));
    for (size_t i = 0; i < kRecentMax + 5; ++i)
        playlistNoteStarted("/x/" + std::to_string(i) + ".mp3");
    EXPECT_EQ(playlistRecent().size(), kRecentMax);

    playlistReset();
    EXPECT_TRUE(playlistRecent().empty());
    playlistInit((mScratch.path() + "/data").c_str());
    std::vector<std::string> recent = playlistRecent();
    ASSERT_EQ(recent.size(), kRecentMax);
    EXPECT_EQ(recent[0], "/x/" + std::to_string(kRecentMax + 4) + ".mp3");
    ASSERT_EQ(playlistSelect(kListRecent, recent[3].c_str()), 0);
    EXPECT_EQ(playlistCurrentType(), kListRecent);
    EXPECT_EQ(step(kStepAuto), recent[4]);
}

TEST_F(PlaylistTest, ModesOutsideTheThreeAreRefused) {
    EXPECT_EQ(playlistSetMode(3), -1);
    EXPECT_EQ(playlistSetMode(-1), -1);
    EXPECT_EQ(playlistMode(), kModeSequence);
    std::string path;
    EXPECT_EQ(playlistStep(kStepNext, &path), -1) << "an empty list goes nowhere";
}

} // namespace
