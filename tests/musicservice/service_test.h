// The fixture of the tests that run the service's binary: a fresh service (no lists, no
// status files) for each test, started with arguments(). TearDown ends it with SIGTERM,
// which must end it with status 0 within 2 s (stretched in slow builds), and shows its
// log when the test failed.
#pragma once

// Its users drive the service through the client's commands and wait for what follows, so
// those headers come with it.
#include "scratch_dir.h"
#include "service/client/commands.h"
#include "service/client/wire.h"
#include "service_runner.h"
#include "wait_until.h"

#include <gtest/gtest.h>

class ServiceTest : public testing::Test {
protected:
    static constexpr int kWaitMs = 30000;
    void SetUp() override;
    void TearDown() override;
    virtual std::vector<std::string> arguments() { return {}; }
    // Waits until the status satisfies the condition; mRecord holds the last one read.
    bool status(const std::function<bool(const MusicPlayingStatus&)>& condition);
    bool inState(const std::string& state);
    // The file plays at a position (seconds) in [from, to].
    bool at(const std::string& path, int from, int to = 1 << 30);
    // The status names the file in that state (now or within kWaitMs).
    testing::AssertionResult shows(const std::string& path, const std::string& state = "playing");
    // The command was sent, and then the status named the file in that state.
    testing::AssertionResult after(int sent, const std::string& path, const std::string& state = "playing");
    // set_play_dir for the file's folder, then play_file_in_dir, and the file plays.
    testing::AssertionResult playInDir(const std::string& path);
    bool logged(const std::string& text) const;

    ServiceProcess mService;
    MusicPlayingStatus mRecord;
};

// A file of the demo library.
std::string demo(const std::string& relative);
