// Even loudness, measured on what the device receives (--record): one-second tones of one
// level come out at the level their gain tags ask for, the album's in a folder played in
// order and the track's elsewhere, never louder than their peak allows; a file without
// usable tags, and every file once the switch is off, as recorded.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "service/client/commands.h"
#include "service/client/wire.h"
#include "service_test.h"
#include "wait_until.h"

#include <cmath>
#include <cstring>
#include <sys/stat.h>

namespace {

constexpr size_t kToneFrames = 48000;
constexpr double kToneRms = 16384 / M_SQRT2; // a sine at half of full scale

// The tones of the album folder, in play order, with their tags, and the level each must
// have in a folder played in order, relative to the tone as recorded.
const struct {
    const char* name;
    const char* tags;
    double level;
} kTones[] = {
    {"1 plain", "", 1.0},
    {"2 minus 6 dB", "REPLAYGAIN_TRACK_GAIN=-6.00 dB", 0.5012},
    {"3 R128 minus 11 dB", "R128_TRACK_GAIN=-2816", 0.5012}, // -6 dB on the ReplayGain scale
    {"4 hot", "REPLAYGAIN_TRACK_GAIN=+12 dB|REPLAYGAIN_TRACK_PEAK=0.5", 2.0},
    {"5 album", "REPLAYGAIN_TRACK_GAIN=-3dB|REPLAYGAIN_ALBUM_GAIN=-9dB", 0.3548},
    {"6 broken tag", "REPLAYGAIN_TRACK_GAIN=loud", 1.0},
};
constexpr size_t kToneCount = sizeof(kTones) / sizeof(kTones[0]);

class LoudnessTest : public ServiceTest {
protected:
    void SetUp() override {
        makeDirs(mAlbum);
        for (const auto& tone : kTones) {
            std::string tags;
            for (std::string rest = tone.tags; !rest.empty();) {
                size_t bar = rest.find('|');
                tags += " -metadata '" + rest.substr(0, bar) + "'";
                rest = bar == std::string::npos ? "" : rest.substr(bar + 1);
            }
            ASSERT_EQ(runFfmpeg("-f lavfi -i 'aevalsrc=0.5*sin(2*PI*1000*t):s=48000:d=1' -c:a flac "
                                "-sample_fmt s16" +
                                tags + " '" + track(tone.name) + "'"),
                      0);
        }
        ServiceTest::SetUp();
    }
    std::vector<std::string> arguments() override { return {"--record", mRecording}; }
    std::string track(const char* name) const { return mAlbum + "/" + name + ".flac"; }

    // Plays the album folder from its first tone, waits until totalFrames have been
    // recorded and the list has ended, and returns the left channel of the recording.
    std::vector<int16_t> playAlbum(size_t totalFrames) {
        EXPECT_GT(setPlayDir(mAlbum.c_str()), 0);
        EXPECT_GT(filepath_cmd("play_file_in_dir", track(kTones[0].name).c_str()), 0);
        EXPECT_TRUE(waitUntil(
            [&] {
                struct stat info;
                return stat(mRecording.c_str(), &info) == 0 &&
                       static_cast<size_t>(info.st_size) >= 4 * totalFrames;
            },
            kWaitMs));
        EXPECT_TRUE(inState("stopped"));
        EXPECT_EQ(stopMusicService(&mService), 0);
        std::string bytes = readFile(mRecording);
        std::vector<int16_t> left(bytes.size() / 4);
        for (size_t i = 0; i < left.size(); ++i)
            memcpy(&left[i], &bytes[4 * i], 2);
        return left;
    }

    ScratchDir mScratch{"loudness"};
    const std::string mAlbum = mScratch.path() + "/album";
    const std::string mRecording = mScratch.path() + "/heard.raw";
};

// Where sound begins after silence (at the start, or after a stop).
std::vector<size_t> onsets(const std::vector<int16_t>& samples) {
    std::vector<size_t> found;
    size_t quiet = 100;
    for (size_t i = 0; i < samples.size(); ++i) {
        bool loud = std::abs(samples[i]) > 64;
        if (loud && quiet >= 100)
            found.push_back(i);
        quiet = loud ? 0 : quiet + 1;
    }
    return found;
}

// The level of the middle half of the index-th tone played from start, relative to the
// tone as recorded.
double level(const std::vector<int16_t>& samples, size_t start, size_t index) {
    size_t from = start + index * kToneFrames + kToneFrames / 4, to = from + kToneFrames / 2;
    if (to > samples.size())
        return 0;
    double sum = 0;
    for (size_t i = from; i < to; ++i)
        sum += static_cast<double>(samples[i]) * samples[i];
    return std::sqrt(sum / static_cast<double>(to - from)) / kToneRms;
}

} // namespace

TEST_F(LoudnessTest, EachToneComesOutAtTheLevelItsTagsAskForLimitedByItsPeak) {
    // The album tone alone in the playlist: the track's gain, not the album's.
    writeFile(MP_SERVICE_DATA_DIR "/playlist.m3u", track(kTones[4].name) + "\n");
    ASSERT_TRUE(after(filepath_cmd("play_file_in_playlist", track(kTones[4].name).c_str()),
                      track(kTones[4].name), "stopped"));
    std::vector<int16_t> heard = playAlbum((kToneCount + 1) * kToneFrames);
    std::vector<size_t> starts = onsets(heard);
    ASSERT_EQ(starts.size(), 2u);
    EXPECT_NEAR(level(heard, starts[0], 0), 0.7079, 0.01) << "-3 dB";
    for (size_t i = 0; i < kToneCount; ++i)
        EXPECT_NEAR(level(heard, starts[1], i), kTones[i].level, 0.01 * kTones[i].level) << kTones[i].name;
}

TEST_F(LoudnessTest, SwitchedOffInTheConfigurationEveryToneComesOutAsRecorded) {
    ASSERT_EQ(stopMusicService(&mService), 0);
    writeFile(MP_SERVICE_DATA_DIR "/musicservice.conf",
              "# even loudness\nloudness_boost=3\n  replaygain = OFF\n");
    ASSERT_EQ(startMusicService(&mService, arguments()), 0);
    EXPECT_TRUE(logged("unknown setting \"loudness_boost=3\""));
    std::vector<int16_t> heard = playAlbum(kToneCount * kToneFrames);
    std::vector<size_t> starts = onsets(heard);
    ASSERT_EQ(starts.size(), 1u);
    for (size_t i = 0; i < kToneCount; ++i)
        EXPECT_NEAR(level(heard, starts[0], i), 1.0, 0.01) << kTones[i].name;
}
