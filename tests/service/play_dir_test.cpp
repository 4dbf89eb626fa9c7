// "set_play_dir" is answered once the service has read the folder, which on a large SD
// card folder takes seconds: the client waits for that answer, so that the
// "play_file_in_dir" behind it cannot overtake it.
#include "base/fd_io.h"
#include "service/commands.h"
#include "service/frame.h"
#include "service/wire.h"
#include "wait_until.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <unistd.h>

TEST(PlayDir, TheClientWaitsForAServiceThatScansSlowly) {
    int listener = abstractListen("musicservice", 4);
    ASSERT_GE(listener, 0) << "the socket name is taken: run the tests in a network namespace";
    const auto scan = std::chrono::milliseconds(6500); // longer than the old 5 s give-up
    std::thread slowService([&] {
        int fd = accept(listener, nullptr, nullptr);
        unsigned char header[kFrameHeaderBytes];
        readFully(fd, header, sizeof(header), 5000);
        FrameHeader request;
        frameDecodeHeader(header, &request);
        std::string body(static_cast<size_t>(request.length), '\0');
        readFully(fd, &body[0], body.size(), 5000);
        std::this_thread::sleep_for(scan); // the service reading a huge folder
        const char reply[] = "{}";
        unsigned char* frame = frameBuild(reply, 2);
        sendFully(fd, frame, kFrameHeaderBytes + 2);
        free(frame);
        close(fd);
    });
    auto start = std::chrono::steady_clock::now();
    EXPECT_GT(setPlayDir("/music/huge"), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, scan) << "it returned before the service answered";
    slowService.join();
    close(listener);
}
