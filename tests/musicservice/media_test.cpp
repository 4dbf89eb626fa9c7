// The audio path's units: exact seeks; the sample ring between the decode thread and the
// audio callback, whose discards the consumer skips without the producer overwriting what
// it may still read (order across the wrap with both threads running is checked sample
// for sample by the gapless test); and a status text read back by the front end's own
// code. (Files that are not audio, cut short or not files at all are played by the
// binary's fault tests.)
#include "musicservice/decoder.h"
#include "musicservice/media_info.h"
#include "musicservice/sample_ring.h"
#include "musicservice/status_writer.h"
#include "status/music_status.h"
#include "status/track_dump.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>
#include <vector>

namespace {

struct Opened {
    Decoder* decoder = nullptr;
    TrackInfo info;
    int result = -1;
    explicit Opened(const std::string& path) { result = decoderOpen(path.c_str(), &decoder, &info); }
    ~Opened() { decoderClose(decoder); }
};

// count stereo frames numbered from first: left n, right -n.
std::vector<int16_t> frames(int16_t first, int16_t count) {
    std::vector<int16_t> data;
    for (int16_t n = first; n < first + count; ++n)
        data.insert(data.end(), {n, static_cast<int16_t>(-n)});
    return data;
}

} // namespace

TEST(MediaTest, SeeksLandOnTheExactSample) {
    mediaLogInit();
    // FLAC lands on the start of its block before the target: the rest is dropped.
    const std::string path = MP_DEMO_LIBRARY_DIR "/Tones/01 Tone 440 Hz.flac";
    Opened whole(path), seeking(path);
    ASSERT_TRUE(whole.result == 0 && seeking.result == 0);
    std::vector<int16_t> all;
    const int16_t* frames = nullptr;
    for (int count; (count = decoderRead(whole.decoder, &frames)) > 0;)
        all.insert(all.end(), frames, frames + 2 * count);
    ASSERT_EQ(all.size(), 2u * 48000u * 30u);
    for (int64_t ms : {12345, 0, 29990, 500}) {
        ASSERT_EQ(decoderSeek(seeking.decoder, ms), 0);
        int count = decoderRead(seeking.decoder, &frames);
        const size_t at = static_cast<size_t>(ms) * 48 * 2;
        ASSERT_GT(count, 0);
        EXPECT_TRUE(
            std::equal(frames, frames + std::min<size_t>(2 * count, all.size() - at), all.begin() + at))
            << ms;
    }
}

// The binary's tests read its tags, state and volume back through the same record; a
// track that runs a fraction of a second past a whole one is checked here.
TEST(MediaTest, StatusTextCutsDurationAndPositionAlikeForTheFrontEndsRecord) {
    auto info = std::make_shared<TrackInfo>();
    info->path = "/music/a \"quoted\" path.flac";
    info->durationMs = 180600;
    // Whole seconds, both the one under way, so that a track of 3:00.6 ends at 3:00 of 3:00.
    cJSON* root = cJSON_Parse(statusText(PlayerSnapshot{kPlayerPaused, info, 0, 180600, 40}).c_str());
    ASSERT_NE(root, nullptr);
    MusicPlayingStatus r;
    storeStatusRecord(root, TrackDump(), &r);
    cJSON_Delete(root);
    EXPECT_EQ(r.filename + "|" + std::to_string(r.duration) + "|" + std::to_string(r.position),
              info->path + "|180|180");
}

TEST(RingTest, DiscardedFramesStayReadableForAFadeUntilTheConsumerSkipsThem) {
    SampleRing ring;
    ASSERT_TRUE(ringInit(&ring, 1000) == 0 && ring.capacity == 1024u);
    std::vector<int16_t> old = frames(1, 1000), fresh = frames(5000, 24), out(2 * 1024);
    ASSERT_EQ(ringWrite(&ring, old.data(), 1000), 1000u);
    EXPECT_EQ(ringDiscard(&ring), 1000u);
    EXPECT_EQ(ringPlayPosition(&ring), 1000u) << "what is heard next is what follows the discard";
    EXPECT_EQ(ringFill(&ring), 0u);
    // The consumer may be copying the old frames right now, or fading out the first of
    // them: their slots are not free yet.
    EXPECT_EQ(ringSpace(&ring), 24u);
    ASSERT_EQ(ringWrite(&ring, fresh.data(), 24), 24u);
    out.resize(2 * ringReadBeforeCut(&ring, out.data(), 8));
    EXPECT_EQ(out, frames(1, 8)) << "the frames before the cut, not the new ones";
    out.resize(2 * 1024);
    out.resize(2 * ringRead(&ring, out.data(), 1024));
    EXPECT_EQ(out, fresh);
    EXPECT_EQ(ringSpace(&ring), 1024u);
    ringRelease(&ring);
}
