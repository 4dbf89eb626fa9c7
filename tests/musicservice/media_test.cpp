// Decoding and describing real files of the demo library: tags, FFmpeg's dump as the
// front end parses it, covers as PNG, files that are not audio, exact samples and exact
// seeks; and the status file as the front end's own code reads it.
#include "base/device_paths.h"
#include "musicservice/decoder.h"
#include "musicservice/media_info.h"
#include "musicservice/status_writer.h"
#include "scratch_dir.h"
#include "status/music_status.h"
#include "status/track_dump.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace {

std::string demo(const char* relative) {
    return std::string(MP_DEMO_LIBRARY_DIR) + "/" + relative;
}

struct Opened {
    Decoder* decoder = nullptr;
    TrackInfo info;
    int result = -1;
    explicit Opened(const std::string& path) { result = decoderOpen(path.c_str(), &decoder, &info); }
    ~Opened() { decoderClose(decoder); }
};

bool isPng(const std::string& bytes) {
    return bytes.size() > 24 && bytes.compare(0, 8, "\x89PNG\r\n\x1a\n") == 0;
}

int pngWidth(const std::string& bytes) {
    auto at = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
    return (at(16) << 24) | (at(17) << 16) | (at(18) << 8) | at(19);
}

std::vector<int16_t> decodeAll(Decoder* decoder) {
    std::vector<int16_t> all;
    const int16_t* frames = nullptr;
    int count;
    while ((count = decoderRead(decoder, &frames)) > 0)
        all.insert(all.end(), frames, frames + 2 * count);
    EXPECT_EQ(count, 0);
    return all;
}

class MediaTest : public testing::Test {
protected:
    static void SetUpTestSuite() { mediaLogInit(); }
};

TEST_F(MediaTest, TagsAndDumpOfAFlacFileReadAsTheFrontEndExpects) {
    std::string path = demo("Tones/02 Tone 1007.8125 Hz.flac");
    Opened file(path);
    ASSERT_EQ(file.result, 0);
    EXPECT_EQ(file.info.path, path);
    EXPECT_NEAR(static_cast<double>(file.info.durationMs), 30000.0, 50.0);
    EXPECT_EQ(file.info.title, "Tone 1007.8125 Hz");
    EXPECT_EQ(file.info.artist, "Test Signals");
    EXPECT_EQ(file.info.album, "Tones");
    EXPECT_EQ(file.info.year, "2024");
    EXPECT_EQ(file.info.track, "2");
    EXPECT_EQ(file.info.genre, "Test tone");
    EXPECT_EQ(file.info.dump.rfind("Input #0, flac, from '" + path + "':\n", 0), 0u) << file.info.dump;
    EXPECT_NE(file.info.dump.find("  Stream #0:0"), std::string::npos);
    TrackDump dump;
    parseMusicInfoText(file.info.dump.data(), file.info.dump.size(), &dump);
    EXPECT_EQ(dump.inputPath, path);
    EXPECT_TRUE(dumpApplies(path.c_str(), dump));
}

TEST_F(MediaTest, MetadataKeysOfTheDumpAreFoundByTheParser) {
    std::string path = demo("Chords/01 C major.mp3");
    Opened file(path);
    ASSERT_EQ(file.result, 0);
    TrackDump dump;
    parseMusicInfoText(file.info.dump.data(), file.info.dump.size(), &dump);
    EXPECT_EQ(dump.title, "C major");
    EXPECT_EQ(dump.artist, "Demo Ensemble");
    EXPECT_EQ(dump.date, "2023-05-01");
    EXPECT_EQ(file.info.year, "2023");
}

TEST_F(MediaTest, EmbeddedCoversBecomePngAndFilesWithoutOneHaveNone) {
    Opened jpeg(demo("Chords/01 C major.mp3"));
    ASSERT_EQ(jpeg.result, 0);
    ASSERT_TRUE(isPng(jpeg.info.coverPng)) << "a JPEG cover is converted";
    EXPECT_EQ(pngWidth(jpeg.info.coverPng), 500);
    Opened png(demo("Chords/02 A minor.flac"));
    ASSERT_EQ(png.result, 0);
    ASSERT_TRUE(isPng(png.info.coverPng));
    Opened wide(demo("Encodings/01 Double-encoded title.mp3"));
    ASSERT_EQ(wide.result, 0);
    EXPECT_TRUE(isPng(wide.info.coverPng));
    Opened none(demo("Chords/03 G major.wav"));
    ASSERT_EQ(none.result, 0);
    EXPECT_TRUE(none.info.coverPng.empty()) << "the image beside the track is the front end's to find";
}

TEST_F(MediaTest, FilesThatAreNotAudioAreRefused) {
    Opened text(demo("Encodings/03 Not audio.mp3"));
    EXPECT_LT(text.result, 0);
    EXPECT_EQ(text.decoder, nullptr);
    Opened image(demo("Chords/03 G major.jpg"));
    EXPECT_LT(image.result, 0) << "a picture has no audio stream";
    Opened missing(demo("nowhere.flac"));
    EXPECT_LT(missing.result, 0);
    ScratchDir scratch("media");
    std::string truncated = scratch.path() + "/cut.flac";
    std::string whole = readFile(demo("Tones/01 Tone 440 Hz.flac"));
    writeFile(truncated, whole.substr(0, 200));
    Opened cut(truncated);
    if (cut.result == 0) {
        // Whatever the demuxer makes of a stub, decoding ends without a crash.
        const int16_t* frames = nullptr;
        while (decoderRead(cut.decoder, &frames) > 0) {
        }
    }
}

TEST_F(MediaTest, WavDecodesToEveryFrameAndSeeksLandExactly) {
    std::string path = demo("Tones/10 Tone 100 Hz.wav");
    Opened whole(path);
    ASSERT_EQ(whole.result, 0);
    std::vector<int16_t> all = decodeAll(whole.decoder);
    ASSERT_EQ(all.size(), 2u * 48000u * 30u);
    for (size_t i = 0; i < all.size(); i += 2)
        ASSERT_EQ(all[i], all[i + 1]) << "a mono file plays on both sides";

    Opened seeking(path);
    ASSERT_EQ(seeking.result, 0);
    for (int64_t ms : {12345, 0, 29990, 500}) {
        ASSERT_EQ(decoderSeek(seeking.decoder, ms), 0);
        const int16_t* frames = nullptr;
        int count = decoderRead(seeking.decoder, &frames);
        ASSERT_GT(count, 0);
        size_t at = static_cast<size_t>(ms) * 48 * 2;
        for (int i = 0; i < count && at + 2 * i < all.size(); ++i)
            ASSERT_EQ(frames[2 * i], all[at + 2 * i]) << "after a seek to " << ms << " ms, frame " << i;
    }
}

TEST_F(MediaTest, StatusTextReadsBackThroughTheFrontEndsRecord) {
    auto info = std::make_shared<TrackInfo>();
    info->path = "/music/a \"quoted\"\\path.flac";
    info->durationMs = 61600;
    info->title = "Tab\tand \"quote\"";
    info->artist = "林小雨";
    info->year = "1999";
    info->track = "3/12";
    info->genre = "Bad \xC3 byte";
    PlayerSnapshot snapshot;
    snapshot.info = info;
    snapshot.state = kPlayerPaused;
    snapshot.positionMs = 59999;
    snapshot.volume = 40;
    std::string text = statusText(snapshot);
    cJSON* root = cJSON_Parse(text.c_str());
    ASSERT_NE(root, nullptr) << text;
    EXPECT_TRUE(cJSON_IsString(cJSON_GetObjectItem(root, "year")));
    EXPECT_TRUE(cJSON_IsString(cJSON_GetObjectItem(root, "track")));
    MusicPlayingStatus record;
    storeStatusRecord(root, TrackDump(), &record);
    cJSON_Delete(root);
    EXPECT_EQ(record.filename, info->path);
    EXPECT_EQ(record.status, "paused");
    EXPECT_EQ(record.duration, 62) << "rounded whole seconds";
    EXPECT_EQ(record.position, 59) << "the second under way";
    EXPECT_EQ(record.volume, 40);
    EXPECT_EQ(record.title, info->title);
    EXPECT_EQ(record.artist, info->artist);
    EXPECT_EQ(record.year, "1999");
    EXPECT_EQ(record.track, "3/12");

    PlayerSnapshot nothing;
    root = cJSON_Parse(statusText(nothing).c_str());
    ASSERT_NE(root, nullptr);
    storeStatusRecord(root, TrackDump(), &record);
    cJSON_Delete(root);
    EXPECT_EQ(record.status, "stopped");
    EXPECT_EQ(record.filename, "");
}

TEST_F(MediaTest, StatusFileIsReplacedWholeSoAnOpenReaderKeepsTheOldVersion) {
    makeDirs(MP_SERVICE_DIR);
    auto info = std::make_shared<TrackInfo>();
    info->path = "/music/first.flac";
    PlayerSnapshot snapshot;
    snapshot.info = info;
    ASSERT_EQ(writeStatusFile(snapshot), 0);
    std::string first = readFile(MP_STATUS_FILE);
    int reader = open(MP_STATUS_FILE, O_RDONLY);
    ASSERT_GE(reader, 0);
    // A reader that opened the file before a rewrite reads a whole old file, never a
    // mix: the new text goes to another file that takes the name in one step.
    auto longer = std::make_shared<TrackInfo>(*info);
    longer->path = "/music/" + std::string(4000, 'x') + ".flac";
    snapshot.info = longer;
    ASSERT_EQ(writeStatusFile(snapshot), 0);
    std::string seen(first.size() + 10, '\0');
    ssize_t got = read(reader, &seen[0], seen.size());
    close(reader);
    ASSERT_EQ(got, static_cast<ssize_t>(first.size()));
    seen.resize(static_cast<size_t>(got));
    EXPECT_EQ(seen, first);
    EXPECT_NE(readFile(MP_STATUS_FILE).find(longer->path), std::string::npos);
    EXPECT_NE(access((std::string(MP_STATUS_FILE) + ".tmp").c_str(), F_OK), 0) << "no temporary file is left";
}

} // namespace
