// The client's side of the protocol against the service double on the real abstract
// socket: the frames it sends, how it treats every kind of bad reply, what the query
// wrappers make of an answer, and set_play_dir waiting for a service that scans slowly.
#include "base/fd_io.h"
#include "fake_service.h"
#include "service/client/commands.h"
#include "service/protocol/frame.h"
#include "service/client/wire.h"
#include "wait_until.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

class WireTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(service.start()) << "abstract name musicservice is taken"; }
    // The reply wr_cmd2 made of the scripted answer ("(null)" for none), then what it
    // logged.
    std::string ask(const Reply& reply) {
        service.script("get_play_mode", reply);
        testing::internal::CaptureStderr();
        char* text = wr_cmd2("get_play_mode");
        std::string result =
            (text ? text : "(null)") + std::string("|") + testing::internal::GetCapturedStderr();
        free(text);
        return result;
    }
    FakeService service;
};

// Bad replies as raw bytes: a wrong magic with its body, a length past 50 MiB, a
// negative one, half a header, a body cut short.
const Reply kWrongMagic = {ReplyKind::Raw, frameHeaderBytes(0x12345678u, 7) + "garbage"},
            kOverLimit = {ReplyKind::Raw, frameHeaderBytes(SERVICE_FRAME_MAGIC, SERVICE_REPLY_MAX + 1)},
            kNegative = {ReplyKind::Raw, frameHeaderBytes(SERVICE_FRAME_MAGIC, -5)},
            kFourBytes = {ReplyKind::Raw, frameHeaderBytes(SERVICE_FRAME_MAGIC, 0).substr(0, 4)},
            kCutShort = {ReplyKind::Raw, frameHeaderBytes(SERVICE_FRAME_MAGIC, 20) + "{\"listtype"};

} // namespace

TEST(AbstractAddress, FifteenBytesWithALeadingZero) {
    struct sockaddr_un address;
    memset(&address, 0x55, sizeof(address));
    EXPECT_EQ(abstractAddress("musicservice", &address), 15u);
    EXPECT_EQ(std::string(address.sun_path, sizeof(address.sun_path)),
              std::string("\0musicservice", 13) + std::string(sizeof(address.sun_path) - 13, '\0'));
}

TEST_F(WireTest, FramesAreByteExactOnAConnectionEach) {
    pause();
    filepath_cmd("play_file_in_dir", "/m/\"q\" \xc3\xa9t\xc3\xa9.flac");
    seek_cmd(83 * 1000);
    setvolume(30);
    setPlayMode(PlayModeSingleCycle);
    EXPECT_EQ(setPlayDir("/mnt/a"), 53) << "the size of its frame";
    ASSERT_TRUE(waitUntil([&] { return service.frames().size() >= 6; }));
    auto frames = service.frames();
    // Quotes are escaped by the JSON printer and the length counts the escaped text;
    // bytes above 0x7F pass unchanged.
    const std::string bodies[] = {
        "{\n\t\"cmd\":\t\"pause\"\n}",
        "{\n\t\"cmd\":\t\"play_file_in_dir\",\n\t\"path\":\t\"/m/\\\"q\\\" \xc3\xa9t\xc3\xa9.flac\"\n}",
        "{\n\t\"cmd\":\t\"seek\",\n\t\"ms\":\t83000\n}",
        "{\n\t\"cmd\":\t\"set_volume\",\n\t\"volume\":\t30\n}",
        "{\n\t\"cmd\":\t\"set_play_mode\",\n\t\"mode\":\t2\n}",
        "{\n\t\"cmd\":\t\"set_play_dir\",\n\t\"path\":\t\"/mnt/a\"\n}"};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(frames[i].magic, 0xABCDEDCBu);
        EXPECT_EQ(frames[i].body, bodies[i]) << "the fake reads as many bytes as the header announces";
        EXPECT_EQ(frames[i].connection, i + 1);
    }
}

TEST_F(WireTest, RepliesGoodAndBadWithTheirLogLines) {
    const std::pair<Reply, std::string> cases[] = {
        {{ReplyKind::Json, "{\"mode\": 2}"}, "{\"mode\": 2}|"},
        {{ReplyKind::Json, ""}, "|"}, // an empty body is a reply
        {kOverLimit, "(null)|readbuffer: len 52428801 > 50M\n"},
        {kWrongMagic, "(null)|readbuffer: magic 12345678 != abcdedcb\nreadbuffer: dump garbage\n"},
        {kNegative, "(null)|"},
        {kFourBytes, "(null)|"},
        {kCutShort, "(null)|readbuffer: readed 10, n 0\n"}};
    for (const auto& [reply, expected] : cases)
        EXPECT_EQ(ask(reply), expected);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ask({ReplyKind::Silent, ""}), "(null)|");
    auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(450)) << "the reply wait is 500 ms";
    EXPECT_LT(waited, std::chrono::milliseconds(3000)) << "not the longer stall guard";
    // The largest body accepted, exactly 50 MiB.
    service.script("get_play_mode", Reply{ReplyKind::LengthAtLimit, ""});
    char* largest = wr_cmd2("get_play_mode");
    ASSERT_NE(largest, nullptr);
    EXPECT_EQ(strlen(largest), 52428800u);
    free(largest);
}

TEST_F(WireTest, ServiceClosingAtOnceGivesNullWithoutLogOrSignal) {
    service.scriptOnAccept(ReplyKind::CloseAtOnce);
    testing::internal::CaptureStderr();
    // Either the write fails (no SIGPIPE may end the process) or the reply is empty.
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(wr_cmd2("get_play_mode"), nullptr);
        noarg_cmd("next");
    }
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(log.empty() || log.find("wr_cmd: write cmd failed\n") != std::string::npos) << log;
}

TEST_F(WireTest, QueriesReadTheirNumberMemberAndFavouritesTheirStringPaths) {
    std::string modes;
    for (const char* reply :
         {"{\"mode\": 2, \"other\": \"x\"}", "{\"mode\": \"2\"}", "{\"listtype\": 1}", "x {"}) {
        service.script("get_play_mode", Reply{ReplyKind::Json, reply});
        modes += std::to_string(getPlayMode()) + " ";
    }
    EXPECT_EQ(modes, "2 -1 -1 -1 ");
    // Elements without a string path are skipped; a reply that is no JSON leaves the
    // list alone, one without "list" empties it.
    std::string lists;
    for (const char* reply :
         {"{\"list\": [{\"path\": \"/a\"}, {\"name\": \"x\"}, {\"path\": 3}, 7, {\"path\": \"/b\"}]}",
          "{broken", "{\"other\": []}"}) {
        service.script("get_favorite_list", Reply{ReplyKind::Json, reply});
        fetchFavoriteList();
        for (const std::string& path : sFavoritePathList)
            lists += path + " ";
        lists += "| ";
    }
    EXPECT_EQ(lists, "/a /b | /a /b | | ");
}

// set_play_dir is answered once the service has read the folder, which on a large card
// folder takes seconds: the client waits for that answer, so that the play_file_in_dir
// behind it cannot overtake it.
TEST(PlayDir, TheClientWaitsForAServiceThatScansSlowly) {
    int listener = abstractListen(MP_SERVICE_SOCKET_NAME, 4);
    ASSERT_GE(listener, 0) << "the socket name is taken: run the tests in a network namespace";
    const auto scan = std::chrono::milliseconds(6500); // longer than the old 5 s give-up
    std::thread slowService([&] {
        int fd = accept(listener, nullptr, nullptr);
        char request[256];
        waitReadable(fd, 5000);
        (void)!read(fd, request, sizeof(request));
        std::this_thread::sleep_for(scan); // the service reading a huge folder
        const std::string reply = expectedFrame("{}");
        sendFully(fd, reply.data(), reply.size());
        close(fd);
    });
    auto start = std::chrono::steady_clock::now();
    EXPECT_GT(setPlayDir("/music/huge"), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, scan) << "it returned before the service answered";
    slowService.join();
    close(listener);
}
