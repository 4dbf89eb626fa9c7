#include "fake_service.h"

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

constexpr uint32_t kMagic = 0xABCDEDCBu;

bool readExact(int fd, void* buffer, size_t size) {
    auto* bytes = static_cast<char*>(buffer);
    while (size > 0) {
        ssize_t n = read(fd, bytes, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        bytes += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

void writeAll(int fd, const void* data, size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t n = send(fd, bytes, size, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        bytes += n;
        size -= static_cast<size_t>(n);
    }
}

void writeHeader(int fd, uint32_t magic, int32_t length) {
    unsigned char header[8];
    memcpy(header, &magic, 4);
    memcpy(header + 4, &length, 4);
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
    std::string frame(8, '\0');
    uint32_t magic = kMagic;
    int32_t length = static_cast<int32_t>(body.size());
    memcpy(&frame[0], &magic, 4);
    memcpy(&frame[4], &length, 4);
    return frame + body;
}

FakeService::FakeService() = default;

FakeService::~FakeService() {
    stop();
}

bool FakeService::start() {
    mListenFd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (mListenFd < 0)
        return false;
    struct sockaddr_un address;
    memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    const char name[] = "musicservice";
    memcpy(address.sun_path + 1, name, sizeof(name) - 1);
    socklen_t length = static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) + 1 + sizeof(name) - 1);
    if (bind(mListenFd, reinterpret_cast<struct sockaddr*>(&address), length) < 0 ||
        listen(mListenFd, 16) < 0) {
        close(mListenFd);
        mListenFd = -1;
        return false;
    }
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
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        {
            std::lock_guard<std::mutex> guard(mLock);
            if (mFrames.size() >= count)
                return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
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
        std::string body(52428800, ' ');
        body[0] = '{';
        body[body.size() - 1] = '}';
        writeHeader(fd, kMagic, static_cast<int32_t>(body.size()));
        writeAll(fd, body.data(), body.size());
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
