// The frame on the wire and the reply reader's handling of every kind of bad reply,
// against the service double on the real abstract socket.
#include "fake_service.h"
#include "service/commands.h"
#include "service/wire.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>

namespace {

class WireTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(service.start()) << "abstract name musicservice is taken"; }
    FakeService service;
};

struct ReplyResult {
    std::unique_ptr<char, decltype(&free)> text{nullptr, &free};
    std::string log;
    long elapsedMs = 0;
};

ReplyResult askWith(FakeService& service, ReplyKind kind, const std::string& body = "") {
    service.script("get_play_mode", Reply{kind, body});
    ReplyResult result;
    testing::internal::CaptureStderr();
    auto start = std::chrono::steady_clock::now();
    result.text.reset(wr_cmd2("get_play_mode"));
    result.elapsedMs = static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
            .count());
    result.log = testing::internal::GetCapturedStderr();
    return result;
}

} // namespace

TEST_F(WireTest, FramesAreByteExact) {
    pause();
    filepath_cmd("play_file_in_dir", "/m/\"q\" \xc3\xa9t\xc3\xa9.flac");
    seek_cmd(83 * 1000);
    ASSERT_TRUE(service.waitForFrames(3, 2000));
    auto frames = service.frames();

    std::string pauseBody = "{\n\t\"cmd\":\t\"pause\"\n}";
    ASSERT_EQ(pauseBody.size(), 19u);
    EXPECT_EQ(expectedFrame(frames[0].body).size(), 27u);
    EXPECT_EQ(frames[0].magic, 0xABCDEDCBu);
    EXPECT_EQ(frames[0].length, 19);
    EXPECT_EQ(frames[0].body, pauseBody);

    // Quotes are escaped by the JSON printer and the length counts the escaped text;
    // bytes above 0x7F pass unchanged.
    std::string pathBody =
        "{\n\t\"cmd\":\t\"play_file_in_dir\",\n\t\"path\":\t\"/m/\\\"q\\\" \xc3\xa9t\xc3\xa9.flac\"\n}";
    EXPECT_EQ(frames[1].body, pathBody);
    EXPECT_EQ(frames[1].length, static_cast<int32_t>(pathBody.size()));

    EXPECT_EQ(frames[2].body, "{\n\t\"cmd\":\t\"seek\",\n\t\"ms\":\t83000\n}");
}

TEST_F(WireTest, GoodRepliesIncludingEmptyAndLargestBody) {
    auto normal = askWith(service, ReplyKind::Json, "{\"mode\": 2}");
    ASSERT_NE(normal.text, nullptr);
    EXPECT_STREQ(normal.text.get(), "{\"mode\": 2}");
    EXPECT_EQ(normal.log, "");

    auto empty = askWith(service, ReplyKind::Json, "");
    ASSERT_NE(empty.text, nullptr);
    EXPECT_STREQ(empty.text.get(), "");

    auto largest = askWith(service, ReplyKind::LengthAtLimit);
    ASSERT_NE(largest.text, nullptr);
    EXPECT_EQ(strlen(largest.text.get()), 52428800u);
    EXPECT_EQ(largest.log, "");
}

TEST_F(WireTest, BadHeadersGiveNullWithTheirLogLines) {
    auto overLimit = askWith(service, ReplyKind::LengthOverLimit);
    EXPECT_EQ(overLimit.text, nullptr);
    EXPECT_EQ(overLimit.log, "readbuffer: len 52428801 > 50M\n");

    auto wrongMagic = askWith(service, ReplyKind::WrongMagic, "garbage");
    EXPECT_EQ(wrongMagic.text, nullptr);
    EXPECT_EQ(wrongMagic.log, "readbuffer: magic 12345678 != abcdedcb\nreadbuffer: dump garbage\n");

    auto negative = askWith(service, ReplyKind::NegativeLength);
    EXPECT_EQ(negative.text, nullptr);
    EXPECT_EQ(negative.log, "");

    auto fourBytes = askWith(service, ReplyKind::FourBytes);
    EXPECT_EQ(fourBytes.text, nullptr);
    EXPECT_EQ(fourBytes.log, "");
}

TEST_F(WireTest, BodyCutShortReleasesThePartialBuffer) {
    auto cut = askWith(service, ReplyKind::BodyCutShort);
    EXPECT_EQ(cut.text, nullptr);
    EXPECT_EQ(cut.log, "readbuffer: readed 10, n 0\n");
}

TEST_F(WireTest, SilentServiceCostsTheReplyWait) {
    auto silent = askWith(service, ReplyKind::Silent);
    EXPECT_EQ(silent.text, nullptr);
    EXPECT_EQ(silent.log, "");
    EXPECT_GE(silent.elapsedMs, 450);
    EXPECT_LT(silent.elapsedMs, 3000);
}

TEST_F(WireTest, ServiceClosingAtOnceGivesNullWithoutLogOrSignal) {
    service.scriptOnAccept(ReplyKind::CloseAtOnce);
    testing::internal::CaptureStderr();
    // Either the write fails (no SIGPIPE may end the process) or the reply is empty.
    for (int i = 0; i < 20; ++i) {
        char* text = wr_cmd2("get_play_mode");
        EXPECT_EQ(text, nullptr);
        free(text);
        noarg_cmd("next");
    }
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(log.empty() || log.find("wr_cmd: write cmd failed\n") != std::string::npos) << log;
}

TEST_F(WireTest, SetPlayDirReturnsItsFrameSizeWhateverTheAnswer) {
    std::string body = "{\n\t\"cmd\":\t\"set_play_dir\",\n\t\"path\":\t\"/mnt/a\"\n}";
    int frameSize = static_cast<int>(body.size()) + 8;
    for (ReplyKind kind : {ReplyKind::None, ReplyKind::Json, ReplyKind::WrongMagic, ReplyKind::NegativeLength,
                           ReplyKind::FourBytes, ReplyKind::BodyCutShort}) {
        service.script("set_play_dir", Reply{kind, "{\"result\": 0}"});
        EXPECT_EQ(setPlayDir("/mnt/a"), frameSize) << static_cast<int>(kind);
    }
    auto frames = service.frames();
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(frames.back().body, body);
}

TEST_F(WireTest, SetPlayDirReportsWhatFollowsTheSwallowedBytes) {
    // The first read swallows 128 bytes; a header behind them is checked and reported.
    std::string first = expectedFrame(std::string(120, ' '));
    ASSERT_EQ(first.size(), 128u);
    service.script("set_play_dir", Reply{ReplyKind::Raw, first + expectedFrame("{\"a\":1}")});
    testing::internal::CaptureStderr();
    EXPECT_GT(setPlayDir("/x"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "readbuffer: len 7 > 0\n");

    std::string wrong = first + std::string("\x01\x02\x03\x04\x05\x00\x00\x00tail", 12);
    service.script("set_play_dir", Reply{ReplyKind::Raw, wrong});
    testing::internal::CaptureStderr();
    EXPECT_GT(setPlayDir("/x"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "readbuffer: magic 4030201 != abcdedcb\nreadbuffer: dump tail\n");
}

TEST(WireNoService, EveryWrapperFailsQuietly) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(setPlayMode(PlayModeRandom), -1);
    EXPECT_EQ(setvolume(50), -1);
    EXPECT_EQ(noarg_cmd("next"), -1);
    EXPECT_EQ(filepath_cmd("play_file_in_dir", "/a.mp3"), -1);
    EXPECT_EQ(pause(), -1);
    EXPECT_EQ(seek_cmd(1000), -1);
    EXPECT_EQ(setPlayDir("/a"), -1);
    EXPECT_EQ(wr_cmd2("get_play_mode"), nullptr);
    EXPECT_EQ(getCurrentListType(), -1);
    EXPECT_EQ(getPlayMode(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}
