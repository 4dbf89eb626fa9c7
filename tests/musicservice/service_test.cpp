#include "service_test.h"

#include "base/device_paths.h"

#include <cstdio>
#include <sys/wait.h>

void ServiceTest::SetUp() {
    removeTree(MP_SERVICE_DATA_DIR);
    for (const char* file : {MP_STATUS_FILE, MP_MUSIC_INFO_FILE, MP_MUSIC_COVER_FILE})
        remove(file);
    ASSERT_EQ(startMusicService(&mService, arguments()), 0) << serviceLog(mService);
}

void ServiceTest::TearDown() {
    if (mService.pid > 0) {
        long start = monotonicMs();
        int status = stopMusicService(&mService);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
        EXPECT_LT(monotonicMs() - start, 2000 * MS_TIME_SCALE) << "SIGTERM ends the service within 2 s";
    }
    if (HasFailure())
        std::cerr << serviceLog(mService);
}

bool ServiceTest::status(const std::function<bool(const MusicPlayingStatus&)>& condition) {
    return waitForStatus(condition, kWaitMs, &mRecord);
}

bool ServiceTest::inState(const std::string& state) {
    return status([&](const MusicPlayingStatus& s) { return s.status == state; });
}

bool ServiceTest::at(const std::string& path, int from, int to) {
    return status([&](const MusicPlayingStatus& s) {
        return s.filename == path && s.status == "playing" && s.position >= from && s.position <= to;
    });
}

testing::AssertionResult ServiceTest::after(int sent, const std::string& path, const std::string& state) {
    return sent > 0 ? shows(path, state) : testing::AssertionFailure() << "not sent";
}

testing::AssertionResult ServiceTest::shows(const std::string& path, const std::string& state) {
    if (status([&](const MusicPlayingStatus& s) { return s.filename == path && s.status == state; }))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "wanted " << path << " " << state << ", status shows "
                                       << mRecord.filename << " " << mRecord.status;
}

testing::AssertionResult ServiceTest::playInDir(const std::string& path) {
    if (setPlayDir(path.substr(0, path.find_last_of('/')).c_str()) <= 0)
        return testing::AssertionFailure() << "set_play_dir failed";
    return after(filepath_cmd("play_file_in_dir", path.c_str()), path);
}

bool ServiceTest::logged(const std::string& text) const {
    return serviceLog(mService).find(text) != std::string::npos;
}

std::string demo(const std::string& relative) {
    return std::string(demoLibraryDir()) + "/" + relative;
}
