// Even loudness, measured on what the device receives (--record): tones of one level come
// out at the level their gain tags ask for, limited by their peak; untagged, as recorded.
#include "base/device_paths.h"
#include "service_test.h"

#include <cmath>
#include <iterator>

namespace {

constexpr size_t kToneFrames = 48000;

// In play order: each tone's tags, and its level in the folder played in order,
// relative to the tone as recorded (a sine at half of full scale).
const struct {
    const char* name;
    const char* tags;
    double level;
} kTones[] = {
    {"1 plain", "", 1.0},
    {"2 minus 6 dB", "-metadata 'REPLAYGAIN_TRACK_GAIN=-6.00 dB'", 0.5012},
    {"3 R128", "-metadata R128_TRACK_GAIN=-2816", 0.5012}, // -11 dB from -23 LUFS: -6 dB
    {"4 hot", "-metadata REPLAYGAIN_TRACK_GAIN=+12dB -metadata REPLAYGAIN_TRACK_PEAK=0.5", 2.0},
    {"5 album", "-metadata REPLAYGAIN_TRACK_GAIN=-3dB -metadata REPLAYGAIN_ALBUM_GAIN=-9dB", 0.3548},
    {"6 broken tag", "-metadata REPLAYGAIN_TRACK_GAIN=loud", 1.0},
};

class LoudnessTest : public ServiceTest {
protected:
    void SetUp() override {
        makeDirs(mAlbum);
        const std::string tone = "-f lavfi -i 'aevalsrc=0.5*sin(2*PI*1000*t):s=48000:d=1' -sample_fmt s16 ";
        for (const auto& made : kTones)
            ASSERT_EQ(runFfmpeg(tone + made.tags + " '" + track(made.name) + "'"), 0);
        ServiceTest::SetUp();
    }
    std::vector<std::string> arguments() override { return {"--record", mRecording}; }
    std::string track(const char* name) const { return mAlbum + "/" + name + ".flac"; }

    // Plays the folder in order, and once the list has ended with at least frames
    // recorded, ends the service and gives the recording (stereo).
    std::vector<int16_t> playAlbum(size_t frames) {
        EXPECT_TRUE(setPlayDir(mAlbum.c_str()) > 0 &&
                    filepath_cmd("play_file_in_dir", track("1 plain").c_str()) > 0);
        EXPECT_TRUE(waitUntil([&] { return readFile(mRecording).size() >= 4 * frames; }, kWaitMs) &&
                    inState("stopped"));
        EXPECT_EQ(stopMusicService(&mService), 0);
        std::string bytes = readFile(mRecording);
        return std::vector<int16_t>(reinterpret_cast<const int16_t*>(bytes.data()),
                                    reinterpret_cast<const int16_t*>(bytes.data() + bytes.size()));
    }

    ScratchDir mScratch{"loudness"};
    const std::string mAlbum = mScratch.path() + "/album", mRecording = mScratch.path() + "/heard.raw";
};

// The frames at which sound begins after 100 frames of silence (or the start).
std::vector<size_t> onsets(const std::vector<int16_t>& heard) {
    std::vector<size_t> found;
    for (size_t i = 0, quiet = 100; 2 * i < heard.size(); ++i) {
        bool loud = std::abs(heard[2 * i]) > 64;
        if (loud && quiet >= 100)
            found.push_back(i);
        quiet = loud ? 0 : quiet + 1;
    }
    return found;
}

// The level of the middle half of the index-th tone from start, relative to the tone.
double level(const std::vector<int16_t>& heard, size_t start, size_t index) {
    size_t from = start + index * kToneFrames + kToneFrames / 4, to = from + kToneFrames / 2;
    double sum = 0;
    for (size_t i = from; i < to && 2 * i < heard.size(); ++i)
        sum += static_cast<double>(heard[2 * i]) * heard[2 * i];
    return std::sqrt(sum / static_cast<double>(to - from)) / (16384 / M_SQRT2);
}

} // namespace

TEST_F(LoudnessTest, EachToneComesOutAtTheLevelItsTagsAskForLimitedByItsPeak) {
    // First the album tone alone in the playlist: the track's gain, not the album's.
    writeFile(MP_SERVICE_DATA_DIR "/playlist.m3u", track("5 album") + "\n");
    ASSERT_TRUE(
        after(filepath_cmd("play_file_in_playlist", track("5 album").c_str()), track("5 album"), "stopped"));
    std::vector<int16_t> heard = playAlbum((std::size(kTones) + 1) * kToneFrames);
    std::vector<size_t> starts = onsets(heard);
    ASSERT_EQ(starts.size(), 2u);
    EXPECT_NEAR(level(heard, starts[0], 0), 0.7079, 0.01) << "-3 dB";
    for (size_t i = 0; i < std::size(kTones); ++i)
        EXPECT_NEAR(level(heard, starts[1], i), kTones[i].level, 0.01 * kTones[i].level) << kTones[i].name;
}

TEST_F(LoudnessTest, SwitchedOffInTheConfigurationEveryToneComesOutAsRecorded) {
    ASSERT_EQ(stopMusicService(&mService), 0);
    writeFile(MP_SERVICE_DATA_DIR "/musicservice.conf",
              "# even loudness\nloudness_boost=3\n  replaygain = OFF\n");
    ASSERT_EQ(startMusicService(&mService, arguments()), 0);
    EXPECT_TRUE(logged("unknown setting \"loudness_boost=3\""));
    std::vector<int16_t> heard = playAlbum(std::size(kTones) * kToneFrames);
    std::vector<size_t> starts = onsets(heard);
    ASSERT_EQ(starts.size(), 1u);
    for (size_t i = 0; i < std::size(kTones); ++i)
        EXPECT_NEAR(level(heard, starts[0], i), 1.0, 0.01) << kTones[i].name;
}
