// Covers of tracks without a picture of their own: their folder's image, chosen by its
// name, refused unread or undecoded when it is huge, broken or no file, and following
// the track across a gapless join. Every test image has a width of its own, so the width
// of the PNG the service writes tells which image it chose.
#include "base/device_paths.h"
#include "service_test.h"

#include <sys/stat.h>

namespace {

// The width of the cover the service wrote; 0 for none.
int coverWidth() {
    std::string png = readFile(MP_MUSIC_COVER_FILE);
    auto byte = [&](size_t i) { return static_cast<int>(static_cast<unsigned char>(png[i])); };
    return png.size() < 24 ? 0 : byte(16) << 24 | byte(17) << 16 | byte(18) << 8 | byte(19);
}

class FolderCoverTest : public ServiceTest {
protected:
    // A picture of that width, 32 pixels high, in the format its suffix names (any case).
    void image(const std::string& path, int width) {
        const std::string size = std::to_string(width) + "x32";
        ASSERT_EQ(runFfmpeg("-f lavfi -i color=c=teal:s=" + size + " -frames:v 1 '" + path + "'"), 0);
    }
    // A track of four seconds, with an embedded picture of that width when it is not 0.
    std::string track(const std::string& path, int pictureWidth = 0) {
        makeDirs(path.substr(0, path.find_last_of('/')));
        if (pictureWidth == 0) {
            writeFile(path, mTone);
            return path;
        }
        const std::string picture = mScratch.path() + "/picture.png";
        image(picture, pictureWidth);
        EXPECT_EQ(runFfmpeg("-i '" + mScratch.path() + "/tone.flac' -i '" + picture +
                            "' -map 0:a -map 1:v -c copy -disposition:v attached_pic '" + path + "'"),
                  0);
        return path;
    }
    void SetUp() override {
        ServiceTest::SetUp();
        ASSERT_EQ(runFfmpeg("-f lavfi -i sine=d=4 -c:a flac '" + mScratch.path() + "/tone.flac'"), 0);
        mTone = readFile(mScratch.path() + "/tone.flac");
    }
    ScratchDir mScratch{"covers"};
    std::string mTone;
};

} // namespace

TEST_F(FolderCoverTest, TheFirstOfTheFolderNamesInAnyCaseElseTheOnlyImage) {
    const struct {
        std::vector<std::pair<std::string, int>> images;
        int width;
    } cases[] = {
        {{}, 0},
        {{{"photo.JPEG", 70}}, 70},
        {{{"a.png", 24}}, 0}, // named after the track, the front end's own for it alone
        {{{"one.jpg", 60}, {"two.png", 62}}, 0},
        {{{"back.png", 42}, {"._back.png", 40}}, 42}, // hidden names do not count
        {{{"album.jpg", 60}, {"Front.PNG", 50}, {"x.png", 62}}, 50},
        {{{"front.png", 50}, {"FOLDER.jpeg", 30}}, 30},
        {{{"folder.jpg", 30}, {"cover.png", 22}, {"Cover.Jpg", 20}}, 20},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const std::string dir = mScratch.path() + "/case" + std::to_string(i);
        std::string playing = track(dir + "/a.flac");
        for (const auto& [name, width] : cases[i].images)
            image(dir + "/" + name, width);
        ASSERT_TRUE(playInDir(playing));
        EXPECT_EQ(coverWidth(), cases[i].width) << "case " << i;
    }
}

TEST_F(FolderCoverTest, EmbeddedPictureFirstAndTheCoverFollowsEachTrackAcrossGaplessJoins) {
    const std::string dir = mScratch.path() + "/album";
    std::string first = track(dir + "/01.flac", 40), second = track(dir + "/02.flac"),
                third = track(dir + "/03.flac", 46);
    image(dir + "/cover.png", 44);
    ASSERT_TRUE(playInDir(first));
    EXPECT_EQ(coverWidth(), 40);
    ASSERT_TRUE(shows(second));
    EXPECT_EQ(coverWidth(), 44);
    ASSERT_TRUE(shows(third));
    EXPECT_EQ(coverWidth(), 46);
}

TEST_F(FolderCoverTest, HugeBrokenOrBlockingImagesAreRefusedBeforeDecodingAndLogged) {
    // Real pictures whose headers then claim 20,000 x 20,000 pixels.
    image(mScratch.path() + "/huge.png", 48);
    image(mScratch.path() + "/huge.jpg", 48);
    std::string png = readFile(mScratch.path() + "/huge.png"), jpeg = readFile(mScratch.path() + "/huge.jpg");
    png.replace(16, 8, "\0\0\x4e\x20\0\0\x4e\x20", 8);
    jpeg.replace(jpeg.find("\xff\xc0") + 5, 4, "\x4e\x20\x4e\x20");
    const std::pair<std::string, std::string> cases[] = {
        {"cover.png", png}, {"cover.jpg", jpeg}, {"cover.jpeg", "not a picture"}, {"cover.jpg", ""}};
    for (size_t i = 0; i < std::size(cases); ++i) {
        const std::string dir = mScratch.path() + "/case" + std::to_string(i),
                          cover = dir + "/" + cases[i].first;
        std::string playing = track(dir + "/a.flac");
        if (cases[i].second.empty())
            ASSERT_EQ(mkfifo(cover.c_str(), 0644), 0); // would block a reader for good
        else
            writeFile(cover, cases[i].second);
        ASSERT_TRUE(playInDir(playing));
        EXPECT_EQ(coverWidth(), 0) << "case " << i;
    }
    EXPECT_TRUE(logged("/case0/cover.png (20000 x 20000) is too large"));
    EXPECT_TRUE(logged("/case1/cover.jpg (20000 x 20000) is too large"));
    EXPECT_TRUE(logged("/case2/cover.jpeg is left out: not a PNG or JPEG picture"));
    EXPECT_TRUE(logged("/case3/cover.jpg is left out: not a regular file"));
    // The cover thread is still there for the next track.
    std::string next = track(mScratch.path() + "/good/a.flac");
    image(mScratch.path() + "/good/cover.jpg", 36);
    ASSERT_TRUE(playInDir(next));
    EXPECT_EQ(coverWidth(), 36);
    EXPECT_FALSE(logged("ran dry"));
}
