#include "base/fd_io.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

namespace {

long nowMs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long>(ts.tv_sec) * 1000L + ts.tv_nsec / 1000000L;
}

} // namespace

int waitReadable(int fd, int timeoutMs) {
    const long deadline = nowMs() + timeoutMs;
    for (;;) {
        struct pollfd pfd = {fd, POLLIN, 0};
        int left = timeoutMs < 0 ? -1 : static_cast<int>(deadline - nowMs());
        if (timeoutMs >= 0 && left < 0)
            left = 0;
        int ready = poll(&pfd, 1, left);
        if (ready >= 0 || errno != EINTR)
            return ready;
    }
}

ssize_t readRetry(int fd, void* buffer, size_t size) {
    for (;;) {
        ssize_t n = read(fd, buffer, size);
        if (n >= 0 || errno != EINTR)
            return n;
    }
}

size_t readFully(int fd, void* buffer, size_t size, int stallMs) {
    auto* bytes = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < size) {
        if (stallMs >= 0 && waitReadable(fd, stallMs) <= 0)
            break;
        ssize_t n = readRetry(fd, bytes + done, size - done);
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    return done;
}

namespace {

template <typename WriteOnce> bool writeLoop(const void* data, size_t size, WriteOnce writeOnce) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t n = writeOnce(bytes, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        bytes += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

} // namespace

bool writeFully(int fd, const void* data, size_t size) {
    return writeLoop(data, size, [fd](const char* bytes, size_t left) { return write(fd, bytes, left); });
}

bool sendFully(int fd, const void* data, size_t size) {
    return writeLoop(data, size,
                     [fd](const char* bytes, size_t left) { return send(fd, bytes, left, MSG_NOSIGNAL); });
}
