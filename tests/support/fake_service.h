// A test double of the playback service: a server on the real abstract socket
// "musicservice" that records every frame it receives and answers per command word as
// the test scripts it. It speaks the real wire format.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct RecordedFrame {
    uint32_t magic = 0;
    int32_t length = 0;
    std::string body;
    std::string cmd;    // "cmd" member of the body, empty when it does not parse
    int connection = 0; // 1-based number of the connection that carried it
};

enum class ReplyKind {
    None,            // read the request, then close without answering (the default)
    Json,            // a correct frame with the given body, then close
    Silent,          // keep the connection open without answering until the client closes
    WrongMagic,      // a frame whose magic is wrong, the body bytes, then close
    LengthOverLimit, // a header announcing 52,428,801 bytes, then close
    LengthAtLimit,   // a correct frame with a body of exactly 52,428,800 bytes
    NegativeLength,  // a header with length -5, then close
    BodyCutShort,    // a header announcing 20 bytes, then 10 bytes, then close
    FourBytes,       // 4 bytes of a header, then close
    CloseAtOnce,     // close right after accept, before reading the request
    Raw,             // the body bytes as they stand, no header added, then close
};

struct Reply {
    ReplyKind kind = ReplyKind::None;
    std::string body;
    // Json only: keep the connection open after the reply until the client closes.
    bool keepOpen = false;
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
    int connections() const { return mConnections.load(); }
    // Waits until at least count frames arrived; false on time-out.
    bool waitForFrames(size_t count, int timeoutMs);

private:
    void serve();
    void handle(int fd, int number);

    int mListenFd = -1;
    std::atomic<bool> mRunning{false};
    std::atomic<int> mConnections{0};
    std::thread mThread;
    std::mutex mLock;
    std::condition_variable mFrameArrived;
    std::map<std::string, Reply> mScript;
    ReplyKind mOnAccept = ReplyKind::None;
    std::vector<RecordedFrame> mFrames;
};

// The exact bytes of a request frame as the client must send it.
std::string expectedFrame(const std::string& body);
