// The service's lists on their own: which files a folder gives and in what order, what
// the binary's tests cannot reach in the play order (random rounds, a failing file in
// repeat one, the hand-over's peek and commit, the playing copy of the list), the M3U
// files and the recent list's limits.
#include "musicservice/m3u.h"
#include "musicservice/music_folder.h"
#include "musicservice/playlist.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class PlaylistTest : public testing::Test {
protected:
    void SetUp() override {
        playlistReset();
        playlistInit((mScratch.path() + "/data").c_str());
        makeDirs(mDir);
    }
    void TearDown() override { playlistReset(); }
    // A folder of count tracks "01.flac" ... selected at the first one.
    std::vector<std::string> folderOf(int count) {
        std::vector<std::string> paths;
        for (int i = 1; i <= count; ++i)
            writeFile(paths.emplace_back(mDir + (i < 10 ? "/0" : "/") + std::to_string(i) + ".flac"), "");
        EXPECT_EQ(playlistSetDir(mDir.c_str()), count);
        EXPECT_EQ(playlistSelect(ListTypeDir, paths[0].c_str()), 0);
        return paths;
    }
    std::string step(PlaylistStep how) {
        std::string path;
        return playlistStep(how, &path) == 0 ? path : std::string("(none)");
    }
    std::string current() {
        std::string path;
        return playlistCurrent(&path) == 0 ? path : std::string("(none)");
    }
    ScratchDir mScratch{"playlist"};
    std::string mDir = mScratch.path() + "/music";
};

} // namespace

TEST_F(PlaylistTest, FolderListHoldsTheMusicFilesInTheLibrarysOrder) {
    // The library shows only lower-case suffixes; hidden files, folders, FIFOs and links
    // to anything but a regular file are no tracks.
    makeEntries(mDir, {"track10.mp3", "Track2.flac", "track1.wav", "b.ape", "A.dsf", "c.wma", "upper.MP3",
                       "cover.jpg", ".hidden.mp3", "noext", "folder.mp3/"});
    ASSERT_EQ(mkfifo((mDir + "/fifo.mp3").c_str(), 0644), 0);
    ASSERT_EQ(symlink("track1.wav", (mDir + "/link.flac").c_str()), 0);
    ASSERT_EQ(symlink("fifo.mp3", (mDir + "/pipe.mp3").c_str()), 0);
    std::vector<std::string> paths;
    ASSERT_EQ(scanMusicFolder(mDir, &paths), 7);
    std::string names;
    for (const std::string& path : paths)
        names += path.substr(mDir.size() + 1) + " ";
    EXPECT_EQ(names, "A.dsf b.ape c.wma link.flac track1.wav Track2.flac track10.mp3 ");
    EXPECT_EQ(scanMusicFolder(mDir + "/missing", &paths), -1);
    EXPECT_TRUE(paths.empty());
}

TEST_F(PlaylistTest, RandomPlaysEveryTrackOnceARoundAndRepeatOneMovesOnAfterAFailure) {
    std::vector<std::string> paths = folderOf(12);
    EXPECT_EQ(playlistSetMode(3), -1);
    ASSERT_EQ(playlistSetMode(PlayModeRandom), 0);
    for (int round = 0; round < 5; ++round) {
        std::set<std::string> heard{current()};
        for (int i = 1; i < 12; ++i)
            EXPECT_TRUE(heard.insert(step(i % 2 ? kStepAuto : kStepNext)).second)
                << "round " << round << ": a repeat";
        // The next round begins with a new order, never with the track just heard.
        std::string last = current(), first = step(kStepAuto);
        EXPECT_TRUE(first != last && first != "(none)") << "random order never runs out";
    }
    ASSERT_EQ(playlistSelect(ListTypeDir, paths[0].c_str()), 0);
    ASSERT_EQ(playlistSetMode(PlayModeSingleCycle), 0);
    EXPECT_EQ(step(kStepAuto), paths[0]);
    EXPECT_EQ(step(kStepSkip), paths[1]) << "a file that cannot play is not tried again and again";
    ASSERT_EQ(playlistSelect(ListTypeDir, paths[11].c_str()), 0);
    EXPECT_EQ(step(kStepSkip), "(none)");
}

TEST_F(PlaylistTest, PeekThenCommitMakesTheSameStepUnlessTheListChanged) {
    std::vector<std::string> paths = folderOf(4);
    std::string peeked, again;
    uint64_t version = 0, versionAgain = 0;
    for (int mode : {PlayModeSequence, PlayModeRandom, PlayModeSingleCycle}) {
        ASSERT_EQ(playlistSetMode(mode), 0);
        ASSERT_EQ(playlistPeekAuto(&peeked, &version), 0);
        ASSERT_EQ(playlistPeekAuto(&again, &versionAgain), 0);
        EXPECT_EQ(again, peeked) << "peeking twice gives the same track in mode " << mode;
        ASSERT_EQ(playlistCommitAuto(version), 0);
        EXPECT_EQ(current(), peeked) << "mode " << mode;
    }
    ASSERT_EQ(playlistPeekAuto(&peeked, &version), 0);
    ASSERT_EQ(playlistSetMode(PlayModeSequence), 0);
    EXPECT_EQ(playlistCommitAuto(version), -1) << "a mode change voids a peek";
    ASSERT_EQ(playlistSelect(ListTypeDir, paths[3].c_str()), 0);
    EXPECT_EQ(playlistPeekAuto(&peeked, &version), -1) << "sequence ends after the last track";
    // A command on the track still heard puts the cursor back on it.
    ASSERT_EQ(playlistSelect(ListTypeDir, paths[0].c_str()), 0);
    EXPECT_EQ(step(kStepAuto), paths[1]);
    ASSERT_EQ(playlistReturnTo(paths[0]), 0);
    EXPECT_EQ(step(kStepNext), paths[1]) << "next from the heard track, not from the one after it";
    EXPECT_EQ(playlistReturnTo("/not/in/the/list.mp3"), -1);
}

TEST_F(PlaylistTest, PlayingListIsACopyThatSetPlayDirDoesNotDisturb) {
    std::vector<std::string> paths = folderOf(3);
    makeDirs(mScratch.path() + "/other");
    writeFile(mScratch.path() + "/other/x.mp3", "x");
    ASSERT_EQ(playlistSetDir((mScratch.path() + "/other").c_str()), 1);
    EXPECT_EQ(step(kStepNext), paths[1]);
    // A file outside the folder list brings its own folder in; a refused path changes
    // nothing.
    ASSERT_EQ(playlistSelect(ListTypeDir, (mScratch.path() + "/other/x.mp3").c_str()), 0);
    EXPECT_EQ(playlistPlayingCount(), 1);
    EXPECT_EQ(playlistSelect(ListTypeDir, (mDir + "/absent.mp3").c_str()), -1);
    EXPECT_EQ(playlistPlayingCount(), 1);
}

TEST_F(PlaylistTest, M3uListsAndTheRecentListsLimits) {
    std::string file = mScratch.path() + "/data/playlist.m3u";
    writeFile(
        file,
        "\xEF\xBB\xBF#EXTM3U\r\n#EXTINF:10,Title\r\n/abs/a.mp3\r\n\r\n  rel/b.flac\n# note\n/abs/c.wav");
    std::vector<std::string> paths, back;
    ASSERT_EQ(m3uLoad(file, &paths), 3);
    EXPECT_EQ(paths,
              (std::vector<std::string>{"/abs/a.mp3", mScratch.path() + "/data/rel/b.flac", "/abs/c.wav"}));
    ASSERT_EQ(m3uSave(file, paths), 0);
    ASSERT_EQ(m3uLoad(file, &back), 3);
    EXPECT_EQ(back, paths);
    EXPECT_EQ(m3uLoad(mScratch.path() + "/none.m3u", &back), -1);

    // Newest first, each path once, at most kRecentMax, kept across a restart; saved
    // apart from noting it (not on the decode thread). That a track noted again is not
    // saved again, the protocol test's repeat-one walk shows on the file.
    for (const char* path : {"/a.mp3", "/b.mp3", "/a.mp3"})
        playlistNoteStarted(path);
    EXPECT_EQ(playlistRecent(), (std::vector<std::string>{"/a.mp3", "/b.mp3"}));
    for (size_t i = 0; i < kRecentMax + 5; ++i)
        playlistNoteStarted("/x/" + std::to_string(i) + ".mp3");
    EXPECT_NE(access((mScratch.path() + "/data/recent.m3u").c_str(), F_OK), 0);
    EXPECT_EQ(playlistSaveRecent(), 1);
    SetUp(); // a restart, which reads the list back
    std::vector<std::string> recent = playlistRecent();
    ASSERT_EQ(recent.size(), kRecentMax);
    EXPECT_EQ(recent[0], "/x/" + std::to_string(kRecentMax + 4) + ".mp3");
}
