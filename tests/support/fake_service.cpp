#include "fake_service.h"

#include "base/fd_io.h"
#include "service/frame.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cjson/cJSON.h>
#include <cstddef>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr uint32_t kMagic = SERVICE_FRAME_MAGIC;

bool readExact(int fd, void* buffer, size_t size) {
    return readFully(fd, buffer, size, -1) == size;
}

void writeAll(int fd, const void* data, size_t size) {
    sendFully(fd, data, size);
}

void writeHeader(int fd, uint32_t magic, int32_t length) {
    unsigned char header[kFrameHeaderBytes];
    frameEncodeHeader(header, magic, length);
    writeAll(fd, header, sizeof(header));
}

// Waits until the client closes its end (or a long guard passes).
void waitForClientClose(int fd) {
    char scratch[256];
    for (int i = 0; i < 100; ++i) {
        struct pollfd pfd = {fd, POLLIN, 0};
        if (poll(&pfd, 1, 100) > 0) {
            ssize_t n = read(fd, scratch, sizeof(scratch));
            if (n <= 0)
                return;
        }
    }
}

} // namespace

std::string expectedFrame(const std::string& body) {
    std::string frame(kFrameHeaderBytes, '\0');
    frameEncodeHeader(reinterpret_cast<unsigned char*>(&frame[0]), kMagic, static_cast<int32_t>(body.size()));
    return frame + body;
}

FakeService::FakeService() = default;

FakeService::~FakeService() {
    stop();
}

bool FakeService::start() {
    mListenFd = abstractListen("musicservice", 16);
    if (mListenFd < 0)
        return false;
    mRunning = true;
    mThread = std::thread([this] { serve(); });
    return true;
}

void FakeService::stop() {
    if (!mRunning.exchange(false))
        return;
    shutdown(mListenFd, SHUT_RDWR);
    if (mThread.joinable())
        mThread.join();
    close(mListenFd);
    mListenFd = -1;
}

void FakeService::script(const std::string& cmd, Reply reply) {
    std::lock_guard<std::mutex> guard(mLock);
    mScript[cmd] = std::move(reply);
}

void FakeService::scriptOnAccept(ReplyKind kind) {
    std::lock_guard<std::mutex> guard(mLock);
    mOnAccept = kind;
}

std::vector<RecordedFrame> FakeService::frames() {
    std::lock_guard<std::mutex> guard(mLock);
    return mFrames;
}

std::vector<std::string> FakeService::commands() {
    std::vector<std::string> words;
    for (const auto& frame : frames())
        words.push_back(frame.cmd);
    return words;
}

bool FakeService::waitForFrames(size_t count, int timeoutMs) {
    std::unique_lock<std::mutex> lock(mLock);
    return mFrameArrived.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                  [&] { return mFrames.size() >= count; });
}

void FakeService::serve() {
    while (mRunning) {
        struct pollfd pfd = {mListenFd, POLLIN, 0};
        if (poll(&pfd, 1, 50) <= 0)
            continue;
        int fd = accept4(mListenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        int number = ++mConnections;
        handle(fd, number);
        close(fd);
    }
}

void FakeService::handle(int fd, int number) {
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (mOnAccept == ReplyKind::CloseAtOnce)
            return;
    }
    unsigned char header[8];
    if (!readExact(fd, header, sizeof(header)))
        return;
    RecordedFrame frame;
    memcpy(&frame.magic, header, 4);
    memcpy(&frame.length, header + 4, 4);
    frame.connection = number;
    if (frame.length > 0 && frame.length < (1 << 20)) {
        frame.body.resize(static_cast<size_t>(frame.length));
        if (!readExact(fd, &frame.body[0], frame.body.size()))
            frame.body.clear();
    }
    if (cJSON* root = cJSON_Parse(frame.body.c_str())) {
        cJSON* cmd = cJSON_GetObjectItem(root, "cmd");
        if (cmd && cJSON_IsString(cmd))
            frame.cmd = cmd->valuestring;
        cJSON_Delete(root);
    }
    Reply reply;
    {
        std::lock_guard<std::mutex> guard(mLock);
        auto found = mScript.find(frame.cmd);
        if (found != mScript.end())
            reply = found->second;
        mFrames.push_back(frame);
    }
    mFrameArrived.notify_all();

    switch (reply.kind) {
    case ReplyKind::None:
    case ReplyKind::CloseAtOnce:
        break;
    case ReplyKind::Json:
        writeHeader(fd, kMagic, static_cast<int32_t>(reply.body.size()));
        writeAll(fd, reply.body.data(), reply.body.size());
        if (reply.keepOpen)
            waitForClientClose(fd);
        break;
    case ReplyKind::Silent:
        waitForClientClose(fd);
        break;
    case ReplyKind::WrongMagic:
        writeHeader(fd, 0x12345678u, static_cast<int32_t>(reply.body.size()));
        writeAll(fd, reply.body.data(), reply.body.size());
        break;
    case ReplyKind::LengthOverLimit:
        writeHeader(fd, kMagic, 52428801);
        break;
    case ReplyKind::LengthAtLimit: {
        // The header goes out first, as the client waits only for the first bytes;
        // the body follows in pieces: "{", blanks, "}".
        const int32_t length = SERVICE_REPLY_MAX;
        writeHeader(fd, kMagic, length);
        std::string piece(1 << 20, ' ');
        piece[0] = '{';
        for (int32_t left = length; left > 0;) {
            size_t size = static_cast<size_t>(std::min<int32_t>(left, static_cast<int32_t>(piece.size())));
            if (left == static_cast<int32_t>(size))
                piece[size - 1] = '}';
            writeAll(fd, piece.data(), size);
            piece[0] = ' ';
            left -= static_cast<int32_t>(size);
        }
        waitForClientClose(fd);
        break;
    }
    case ReplyKind::NegativeLength:
        writeHeader(fd, kMagic, -5);
        break;
    case ReplyKind::BodyCutShort:
        writeHeader(fd, kMagic, 20);
        writeAll(fd, "{\"listtype\": 1,    ", 10);
        break;
    case ReplyKind::Raw:
        writeAll(fd, reply.body.data(), reply.body.size());
        break;
    case ReplyKind::FourBytes: {
        uint32_t magic = kMagic;
        writeAll(fd, &magic, 4);
        break;
    }
    }
}
