// The service under bad clients and hard ends: every kind of bad frame, clients that
// stall or say nothing, a hundred at once, a client gone mid-reply, a second instance,
// a kill in the middle of work, and readers of the status file during rewrites.
#include "base/device_paths.h"
#include "scratch_dir.h"
#include "service/commands.h"
#include "service/frame.h"
#include "service/wire.h"
#include "service_runner.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cjson/cJSON.h>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kWaitMs = 20000;

std::string demo(const std::string& relative) {
    return std::string(demoLibraryDir()) + "/" + relative;
}

std::string header(uint32_t magic, int32_t length) {
    unsigned char bytes[kFrameHeaderBytes];
    frameEncodeHeader(bytes, magic, length);
    return std::string(reinterpret_cast<const char*>(bytes), sizeof(bytes));
}

std::string frame(const std::string& body) {
    return header(SERVICE_FRAME_MAGIC, static_cast<int32_t>(body.size())) + body;
}

int connectRaw() {
    return connectService();
}

// True when the service closes the connection within timeoutMs (whatever it sent).
bool closedByService(int fd, int timeoutMs) {
    long deadline = monotonicMs() + timeoutMs;
    char buffer[256];
    while (monotonicMs() < deadline) {
        struct pollfd pfd = {fd, POLLIN, 0};
        if (poll(&pfd, 1, 100) > 0) {
            ssize_t n = read(fd, buffer, sizeof(buffer));
            if (n <= 0)
                return true;
        }
    }
    return false;
}

class FaultTest : public testing::Test {
protected:
    void SetUp() override {
        removeTree(MP_SERVICE_DATA_DIR);
        ASSERT_EQ(startMusicService(&mService), 0) << serviceLog(mService);
    }
    void TearDown() override {
        int status = stopMusicService(&mService);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
        if (HasFailure())
            std::cerr << serviceLog(mService);
    }
    void play(const std::string& path) {
        ASSERT_GT(setPlayDir(path.substr(0, path.find_last_of('/')).c_str()), 0);
        ASSERT_GT(filepath_cmd("play_file_in_dir", path.c_str()), 0);
        ASSERT_TRUE(waitForStatus(
            [&](const MusicPlayingStatus& s) { return s.filename == path && s.status == "playing"; }, kWaitMs, &mRecord));
    }
    // The service answers (once it has worked through what came before) and still
    // reports the track it played before.
    void expectUndisturbed(const std::string& path) {
        long deadline = monotonicMs() + kWaitMs;
        int mode = -1;
        while ((mode = getPlayMode()) < 0 && monotonicMs() < deadline) {
        }
        EXPECT_EQ(mode, 0);
        EXPECT_TRUE(waitForStatusRewrites(2, kWaitMs));
        ASSERT_TRUE(readStatusRecord(&mRecord));
        EXPECT_EQ(mRecord.filename, path);
        EXPECT_EQ(mRecord.status, "playing");
    }

    ServiceProcess mService;
    MusicPlayingStatus mRecord;
};

TEST_F(FaultTest, EveryKindOfBadFrameIsDroppedAndNothingIsLost) {
    std::string path = demo("Tones/01 Tone 440 Hz.flac");
    play(path);
    struct Case {
        const char* what;
        std::string bytes;
        const char* logged;
    };
    std::vector<Case> cases = {
        {"wrong magic", header(0x12345678u, 19) + "{\"cmd\":\t\"pause\"}", "bad frame magic"},
        {"byte-swapped magic", header(0xCBEDCDABu, 17) + "{\"cmd\":\"pause\"}", "bad frame magic"},
        {"negative length", header(SERVICE_FRAME_MAGIC, -5), "bad frame length -5"},
        {"zero length", header(SERVICE_FRAME_MAGIC, 0), "bad frame length 0"},
        {"absurd length", header(SERVICE_FRAME_MAGIC, 0x7FFFFFFF) + "{\"cmd\":", "bad frame length 2147483647"},
        {"invalid JSON", frame("{\"cmd\": pause"), "not a JSON object"},
        {"JSON but no object", frame("[1,2,3]"), "not a JSON object"},
        {"unknown word", frame("{\"cmd\":\"self_destruct\"}"), "unknown command \"self_destruct\""},
        {"missing member", frame("{\"cmd\":\"seek\"}"), "\"seek\" needs the number member \"ms\""},
        {"member of the wrong type", frame("{\"cmd\":\"play_file_in_dir\",\"path\":[]}"), "needs the string member"},
        {"binary garbage", frame(std::string("\x00\xff\x10garbage", 10)), "not a JSON object"},
    };
    for (const Case& c : cases) {
        int fd = connectRaw();
        ASSERT_GE(fd, 0) << c.what;
        ASSERT_EQ(send(fd, c.bytes.data(), c.bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(c.bytes.size()));
        EXPECT_TRUE(closedByService(fd, kWaitMs)) << c.what;
        close(fd);
        expectUndisturbed(path);
        EXPECT_NE(serviceLog(mService).find(c.logged), std::string::npos) << c.what << ": no log line \"" << c.logged << "\"";
    }
}

TEST_F(FaultTest, StalledAndSilentClientsHoldUpNoOne) {
    std::string path = demo("Tones/01 Tone 440 Hz.flac");
    play(path);
    std::vector<int> stalled;
    for (int i = 0; i < 20; ++i) {
        int fd = connectRaw();
        ASSERT_GE(fd, 0);
        std::string whole = frame("{\"cmd\":\"pause\"}");
        // Nothing, half a header, a header alone, a header and half the body.
        size_t cut = std::vector<size_t>{0, 4, 8, 14}[i % 4];
        if (cut) {
            ASSERT_EQ(send(fd, whole.data(), cut, MSG_NOSIGNAL), static_cast<ssize_t>(cut));
        }
        stalled.push_back(fd);
    }
    // Others are served while those hang (each query has 500 ms to be answered).
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(getPlayMode(), 0) << "query " << i;
    expectUndisturbed(path);
    // None of the half requests was carried out, and the service lets them go in time.
    for (int fd : stalled) {
        EXPECT_TRUE(closedByService(fd, kWaitMs));
        close(fd);
    }
    ASSERT_TRUE(readStatusRecord(&mRecord));
    EXPECT_EQ(mRecord.status, "playing");
}

TEST_F(FaultTest, AHundredClientsAtOnceAreAllServed) {
    std::string path = demo("Tones/01 Tone 440 Hz.flac");
    play(path);
    ASSERT_GT(setPlayMode(PlayModeSingleCycle), 0);
    std::atomic<int> answered{0}, wrong{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < 100; ++i) {
        clients.emplace_back([&, i] {
            if (i % 10 == 0) {
                // Some send volume, all of them the same value.
                if (setvolume(70) > 0)
                    answered.fetch_add(1);
                return;
            }
            int mode = i % 2 ? getPlayMode() : getCurrentListType();
            if (mode == 2 - (i % 2 ? 0 : 1))
                answered.fetch_add(1);
            else
                wrong.fetch_add(1);
        });
    }
    for (std::thread& client : clients)
        client.join();
    EXPECT_EQ(answered.load(), 100);
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_TRUE(waitForStatus([](const MusicPlayingStatus& s) { return s.volume == 70; }, kWaitMs, &mRecord));
    EXPECT_EQ(mRecord.filename, path);
    EXPECT_EQ(mRecord.status, "playing");
}

TEST_F(FaultTest, AClientGoneBeforeItsReplyDoesNotHarmTheService) {
    std::string path = demo("Tones/01 Tone 440 Hz.flac");
    std::string favorites;
    for (int i = 0; i < 5000; ++i)
        favorites += "/music/a long folder name for a large reply/track number " + std::to_string(i) + ".flac\n";
    makeDirs(MP_SERVICE_DATA_DIR);
    writeFile(std::string(MP_SERVICE_DATA_DIR) + "/favorite.m3u", favorites);
    play(path);
    for (int i = 0; i < 10; ++i) {
        int fd = connectRaw();
        ASSERT_GE(fd, 0);
        ASSERT_GT(send_request(fd, "get_favorite_list"), 0);
        close(fd); // gone before a byte of the 400 kB reply is read
    }
    expectUndisturbed(path);
    fetchFavoriteList();
    EXPECT_EQ(sFavoritePathList.size(), 5000u);
}

TEST_F(FaultTest, ASecondInstanceRefusesToStart) {
    ServiceProcess second;
    ASSERT_EQ(spawnMusicService(&second), 0);
    int status = waitMusicServiceExit(&second, kWaitMs);
    if (status < 0)
        killMusicService(&second);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_NE(serviceLog(second).find("another instance is already running"), std::string::npos) << serviceLog(second);
    EXPECT_TRUE(serviceAnswers()) << "the first one goes on";
}

TEST_F(FaultTest, AServiceKilledMidWorkIsReplacedAndTheNextCommandWorks) {
    std::string path = demo("Tones/01 Tone 440 Hz.flac");
    play(path);
    std::atomic<bool> going{true};
    std::atomic<int> answered{0};
    std::thread client([&] {
        while (going.load()) {
            // Fails while no service runs; must never hang or crash the client.
            if (getPlayMode() >= 0)
                answered.fetch_add(1);
            seek_cmd(5000);
        }
    });
    auto waitAnswers = [&](int above) {
        long deadline = monotonicMs() + kWaitMs;
        while (answered.load() <= above && monotonicMs() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return answered.load() > above;
    };
    EXPECT_TRUE(waitAnswers(0));
    killMusicService(&mService);
    int beforeRestart = answered.load();
    ASSERT_EQ(startMusicService(&mService), 0) << serviceLog(mService);
    EXPECT_TRUE(waitAnswers(beforeRestart)) << "the client reaches the new service";
    going.store(false);
    client.join();
    std::string other = demo("Tones/02 Tone 1007.8125 Hz.flac");
    play(other);
}

TEST_F(FaultTest, ReadersNeverSeeAStatusFileHalfWritten) {
    std::string path = demo("Tones/01 Tone 440 Hz.flac");
    play(path);
    std::atomic<bool> going{true};
    std::thread commands([&] {
        // Every command makes the service rewrite the status at once, on top of the
        // ten rewrites a second.
        int volume = 1;
        while (going.load())
            setvolume(volume++ % 100 + 1);
    });
    int reads = 0, torn = 0, replaced = 0;
    ino_t lastInode = 0;
    long deadline = monotonicMs() + 3000;
    while (monotonicMs() < deadline || replaced < 30) {
        if (monotonicMs() > deadline + kWaitMs)
            break;
        FILE* file = fopen(MP_STATUS_FILE, "r");
        ASSERT_NE(file, nullptr) << "the status file never goes missing";
        struct stat info;
        fstat(fileno(file), &info);
        if (info.st_ino != lastInode) {
            ++replaced;
            lastInode = info.st_ino;
        }
        char text[8192];
        size_t length = fread(text, 1, sizeof(text) - 1, file);
        fclose(file);
        text[length] = '\0';
        cJSON* root = cJSON_Parse(text);
        if (!root || !cJSON_GetObjectItem(root, "genre"))
            ++torn;
        cJSON_Delete(root);
        ++reads;
    }
    going.store(false);
    commands.join();
    EXPECT_EQ(torn, 0) << "of " << reads << " reads";
    EXPECT_GE(replaced, 30) << "each rewrite is a new file put in place by rename";
}

} // namespace
