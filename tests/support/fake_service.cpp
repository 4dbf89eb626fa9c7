#include "fake_service.h"

#include "base/fd_io.h"
#include "service/frame.h"

#include <algorithm>
#include <chrono>
#include <cjson/cJSON.h>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

std::string header(uint32_t magic, int32_t length) {
    std::string bytes(kFrameHeaderBytes, '\0');
    frameEncodeHeader(reinterpret_cast<unsigned char*>(&bytes[0]), magic, length);
    return bytes;
}

void send(int fd, const std::string& bytes) {
    sendFully(fd, bytes.data(), bytes.size());
}

// Waits until the client closes its end (or a long guard passes).
void waitForClientClose(int fd) {
    char scratch[256];
    struct pollfd pfd = {fd, POLLIN, 0};
    while (poll(&pfd, 1, 10000) > 0 && read(fd, scratch, sizeof(scratch)) > 0) {
    }
}

// The bytes of each kind of reply that ends with a close and nothing else.
std::string replyBytes(const Reply& reply) {
    switch (reply.kind) {
    case ReplyKind::Json:
        return header(SERVICE_FRAME_MAGIC, static_cast<int32_t>(reply.body.size())) + reply.body;
    case ReplyKind::WrongMagic:
        return header(0x12345678u, static_cast<int32_t>(reply.body.size())) + reply.body;
    case ReplyKind::LengthOverLimit:
        return header(SERVICE_FRAME_MAGIC, SERVICE_REPLY_MAX + 1);
    case ReplyKind::NegativeLength:
        return header(SERVICE_FRAME_MAGIC, -5);
    case ReplyKind::BodyCutShort:
        return header(SERVICE_FRAME_MAGIC, 20) + "{\"listtype";
    case ReplyKind::FourBytes:
        return header(SERVICE_FRAME_MAGIC, 0).substr(0, 4);
    case ReplyKind::Raw:
        return reply.body;
    default:
        return "";
    }
}

} // namespace

std::string expectedFrame(const std::string& body) {
    return header(SERVICE_FRAME_MAGIC, static_cast<int32_t>(body.size())) + body;
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
        handle(fd, ++mConnections);
        close(fd);
    }
}

void FakeService::handle(int fd, int number) {
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (mOnAccept == ReplyKind::CloseAtOnce)
            return;
    }
    unsigned char bytes[kFrameHeaderBytes];
    if (readFully(fd, bytes, sizeof(bytes), -1) != sizeof(bytes))
        return;
    RecordedFrame frame;
    memcpy(&frame.magic, bytes, 4);
    memcpy(&frame.length, bytes + 4, 4);
    frame.connection = number;
    if (frame.length > 0 && frame.length < (1 << 20)) {
        frame.body.resize(static_cast<size_t>(frame.length));
        if (readFully(fd, &frame.body[0], frame.body.size(), -1) != frame.body.size())
            frame.body.clear();
    }
    if (cJSON* root = cJSON_Parse(frame.body.c_str())) {
        cJSON* cmd = cJSON_GetObjectItem(root, "cmd");
        if (cJSON_IsString(cmd))
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

    if (reply.kind == ReplyKind::LengthAtLimit) {
        // The header goes out first, as the client waits only for the first bytes; the
        // body follows in pieces: "{", blanks, "}".
        send(fd, header(SERVICE_FRAME_MAGIC, SERVICE_REPLY_MAX) + "{");
        const std::string blanks(1 << 20, ' ');
        for (int32_t left = SERVICE_REPLY_MAX - 2; left > 0; left -= static_cast<int32_t>(blanks.size()))
            sendFully(fd, blanks.data(), std::min<size_t>(static_cast<size_t>(left), blanks.size()));
        send(fd, "}");
    } else {
        send(fd, replyBytes(reply));
    }
    if (reply.kind == ReplyKind::Silent || reply.kind == ReplyKind::LengthAtLimit ||
        (reply.kind == ReplyKind::Json && reply.keepOpen))
        waitForClientClose(fd);
}
