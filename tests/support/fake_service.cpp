#include "fake_service.h"

#include "base/fd_io.h"
#include "service/protocol/frame.h"

#include <algorithm>
#include <cjson/cJSON.h>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

std::string frameHeaderBytes(uint32_t magic, int32_t length) {
    std::string bytes(kFrameHeaderBytes, '\0');
    frameEncodeHeader(reinterpret_cast<unsigned char*>(&bytes[0]), magic, length);
    return bytes;
}

std::string expectedFrame(const std::string& body) {
    return frameHeaderBytes(SERVICE_FRAME_MAGIC, static_cast<int32_t>(body.size())) + body;
}

bool FakeService::start() {
    mListenFd = abstractListen(MP_SERVICE_SOCKET_NAME, 16);
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

size_t FakeService::count(const std::string& cmd) {
    auto words = commands();
    return static_cast<size_t>(std::count(words.begin(), words.end(), cmd));
}

void FakeService::serve() {
    for (int connections = 1; mRunning;) {
        struct pollfd pfd = {mListenFd, POLLIN, 0};
        int fd = poll(&pfd, 1, 50) > 0 ? accept4(mListenFd, nullptr, nullptr, SOCK_CLOEXEC) : -1;
        if (fd >= 0) {
            handle(fd, connections++);
            close(fd);
        }
    }
}

void FakeService::handle(int fd, int number) {
    RecordedFrame frame;
    frame.connection = number;
    unsigned char bytes[kFrameHeaderBytes];
    Reply reply;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (mOnAccept == ReplyKind::CloseAtOnce)
            return;
    }
    if (readFully(fd, bytes, sizeof(bytes), -1) != sizeof(bytes))
        return;
    int32_t length;
    memcpy(&frame.magic, bytes, 4);
    memcpy(&length, bytes + 4, 4);
    if (length > 0 && length < (1 << 20)) {
        frame.body.resize(static_cast<size_t>(length));
        if (readFully(fd, &frame.body[0], frame.body.size(), -1) != frame.body.size())
            frame.body.clear();
    }
    cJSON* root = cJSON_Parse(frame.body.c_str());
    cJSON* cmd = cJSON_GetObjectItem(root, "cmd");
    frame.cmd = cJSON_IsString(cmd) ? cmd->valuestring : "";
    cJSON_Delete(root);
    {
        std::lock_guard<std::mutex> guard(mLock);
        auto found = mScript.find(frame.cmd);
        reply = found != mScript.end() ? found->second : reply;
        mFrames.push_back(frame);
    }
    std::string out = reply.kind == ReplyKind::Json ? expectedFrame(reply.body) : reply.body;
    if (reply.kind == ReplyKind::LengthAtLimit) {
        // The header goes out before the body is made, as the client waits only briefly
        // for the first bytes.
        out = frameHeaderBytes(SERVICE_FRAME_MAGIC, SERVICE_REPLY_MAX);
        sendFully(fd, out.data(), out.size());
        out = "{" + std::string(SERVICE_REPLY_MAX - 2, ' ') + "}";
    }
    if (reply.kind != ReplyKind::None && reply.kind != ReplyKind::Silent)
        sendFully(fd, out.data(), out.size());
    // Silent and the largest reply: wait until the client closes its end.
    char scratch[256];
    struct pollfd pfd = {fd, POLLIN, 0};
    while ((reply.kind == ReplyKind::Silent || reply.kind == ReplyKind::LengthAtLimit) &&
           poll(&pfd, 1, 10000) > 0 && read(fd, scratch, sizeof(scratch)) > 0) {
    }
}
