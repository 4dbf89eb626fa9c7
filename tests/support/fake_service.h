// A test double of the playback service: a server on the real abstract socket
// "musicservice" that records every frame it receives and answers per command word as
// the test scripts it. It speaks the real wire format.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct RecordedFrame {
    uint32_t magic = 0;
    std::string body;
    std::string cmd;    // "cmd" member of the body, empty when it does not parse
    int connection = 0; // 1-based number of the connection that carried it
};

enum class ReplyKind {
    None,          // read the request, then close without answering (the default)
    Json,          // a correct frame with the given body, then close
    Raw,           // the body bytes as they stand, no header added, then close
    Silent,        // keep the connection open without answering until the client closes
    LengthAtLimit, // a correct frame with a body of exactly 52,428,800 bytes
    CloseAtOnce,   // (on accept) close before reading the request
};

struct Reply {
    ReplyKind kind = ReplyKind::None;
    std::string body;
};

class FakeService {
public:
    ~FakeService() { stop(); }
    // Binds and listens; false when the name is taken or the socket cannot be made.
    bool start();
    void stop();

    void script(const std::string& cmd, Reply reply);
    // Reply used on a connection accepted before its request is known.
    void scriptOnAccept(ReplyKind kind);

    std::vector<RecordedFrame> frames();
    std::vector<std::string> commands();
    // Frames with that command word received so far.
    size_t count(const std::string& cmd);

private:
    void serve();
    void handle(int fd, int number);

    int mListenFd = -1;
    std::atomic<bool> mRunning{false};
    std::thread mThread;
    std::mutex mLock;
    std::map<std::string, Reply> mScript;
    ReplyKind mOnAccept = ReplyKind::None;
    std::vector<RecordedFrame> mFrames;
};

// The header of a frame as bytes, and a whole frame with a correct header.
std::string frameHeaderBytes(uint32_t magic, int32_t length);
std::string expectedFrame(const std::string& body);
