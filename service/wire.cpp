#include "service/wire.h"

#include "app/device_paths.h"
#include "zcommon.h"

#include <cerrno>
#include <cjson/cJSON.h>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// Scratch for the bytes of a rejected reply; only the window thread reads replies.
char sDumpBuffer[1024];

// Blocking reads have no deadline of their own in the protocol; this generous one only
// keeps a hung service from freezing the screen forever.
constexpr int kStallGuardMs = 5000;

ssize_t readRetry(int fd, void* buffer, size_t size) {
    for (;;) {
        ssize_t n = read(fd, buffer, size);
        if (n < 0 && errno == EINTR)
            continue;
        return n;
    }
}

// A blocking read that gives up, as if the peer had closed, after the stall guard.
ssize_t readGuarded(int fd, void* buffer, size_t size) {
    struct pollfd pfd = {fd, POLLIN, 0};
    int ready;
    do {
        ready = poll(&pfd, 1, kStallGuardMs);
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0)
        return 0;
    return readRetry(fd, buffer, size);
}

int waitReadable(int fd, int timeoutMs) {
    struct pollfd pfd = {fd, POLLIN, 0};
    int ready;
    do {
        ready = poll(&pfd, 1, timeoutMs);
    } while (ready < 0 && errno == EINTR);
    return ready;
}

// Reads up to the size of sDumpBuffer and logs what arrived, never past those bytes.
void dumpRejectedBytes(int fd, bool log) {
    ssize_t n = readGuarded(fd, sDumpBuffer, sizeof(sDumpBuffer));
    if (!log)
        return;
    char text[sizeof(sDumpBuffer) + 1];
    size_t used = n > 0 ? static_cast<size_t>(n) : 0;
    memcpy(text, sDumpBuffer, used);
    text[used] = '\0';
    tprintf("readbuffer: dump %s\n", text);
}

struct FrameHeader {
    uint32_t magic;
    int32_t length;
};

void decodeHeader(const unsigned char* bytes, FrameHeader* header) {
    memcpy(&header->magic, bytes, 4);
    memcpy(&header->length, bytes + 4, 4);
}

int sendObject(int fd, cJSON* request) {
    char* text = cJSON_Print(request);
    if (!text)
        return -1;
    int32_t length = static_cast<int32_t>(strlen(text));
    size_t frameSize = static_cast<size_t>(length) + 8;
    auto* frame = static_cast<unsigned char*>(malloc(frameSize));
    int result = -1;
    if (frame) {
        uint32_t magic = SERVICE_FRAME_MAGIC;
        memcpy(frame, &magic, 4);
        memcpy(frame + 4, &length, 4);
        memcpy(frame + 8, text, static_cast<size_t>(length));
        // MSG_NOSIGNAL: a service that has just dropped the connection gives EPIPE
        // here instead of a SIGPIPE that would end the process.
        ssize_t written = send(fd, frame, frameSize, MSG_NOSIGNAL);
        result = static_cast<int>(written);
        free(frame);
    }
    free(text);
    return result;
}

// A request object whose first member is "cmd".
cJSON* newRequest(const char* cmd) {
    cJSON* request = cJSON_CreateObject();
    if (request)
        cJSON_AddStringToObject(request, "cmd", cmd);
    return request;
}

int sendAndDelete(int fd, cJSON* request) {
    int result = sendObject(fd, request);
    cJSON_Delete(request);
    return result;
}

} // namespace

int socket_local_client(const char* name, int nameSpace, int type) {
    (void)nameSpace;
    int fd = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    struct sockaddr_un address;
    memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    size_t nameLength = strnlen(name, sizeof(address.sun_path) - 1);
    memcpy(address.sun_path + 1, name, nameLength);
    // Family, the leading zero byte and the name: not the size of the whole structure.
    socklen_t addressLength = static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) + 1 + nameLength);
    int rc;
    do {
        rc = connect(fd, reinterpret_cast<struct sockaddr*>(&address), addressLength);
    } while (rc < 0 && errno == EINTR);
    if (rc < 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int send_request(int fd, const char* cmd) {
    cJSON* request = newRequest(cmd);
    return request ? sendAndDelete(fd, request) : -1;
}

int send_request_string(int fd, const char* cmd, const char* name, const char* value) {
    cJSON* request = newRequest(cmd);
    if (!request)
        return -1;
    cJSON_AddStringToObject(request, name, value);
    return sendAndDelete(fd, request);
}

int send_request_number(int fd, const char* cmd, const char* name, int value) {
    cJSON* request = newRequest(cmd);
    if (!request)
        return -1;
    cJSON_AddNumberToObject(request, name, value);
    return sendAndDelete(fd, request);
}

char* read_reply(int fd) {
    if (waitReadable(fd, kServiceReplyWaitMs) <= 0) {
        close(fd);
        return nullptr;
    }
    unsigned char headerBytes[8];
    if (readRetry(fd, headerBytes, sizeof(headerBytes)) != 8) {
        close(fd);
        return nullptr;
    }
    FrameHeader header;
    decodeHeader(headerBytes, &header);
    if (header.magic != SERVICE_FRAME_MAGIC) {
        tprintf("readbuffer: magic %x != %x\n", header.magic, SERVICE_FRAME_MAGIC);
        dumpRejectedBytes(fd, true);
        close(fd);
        return nullptr;
    }
    if (header.length > SERVICE_REPLY_MAX) {
        tprintf("readbuffer: len %d > 50M\n", header.length);
        close(fd);
        return nullptr;
    }
    // A negative length is a bad header like any other.
    if (header.length < 0) {
        close(fd);
        return nullptr;
    }
    size_t length = static_cast<size_t>(header.length);
    auto* body = static_cast<char*>(malloc(length + 1));
    if (!body) {
        tprintf("readbuffer: malloc failed\n");
        close(fd);
        return nullptr;
    }
    size_t received = 0;
    while (received < length) {
        ssize_t n = readGuarded(fd, body + received, length - received);
        if (n <= 0) {
            tprintf("readbuffer: readed %d, n %d\n", static_cast<int>(received), static_cast<int>(n));
            free(body);
            close(fd);
            return nullptr;
        }
        received += static_cast<size_t>(n);
    }
    body[length] = '\0';
    close(fd);
    return body;
}

char* wr_cmd2(const char* cmd) {
    int fd = socket_local_client(MP_SERVICE_SOCKET_NAME, kLocalNamespaceAbstract, SOCK_STREAM);
    if (fd < 0)
        return nullptr;
    if (send_request(fd, cmd) <= 0) {
        tprintf("wr_cmd: write cmd failed\n");
        close(fd);
        return nullptr;
    }
    return read_reply(fd);
}

int setPlayDir(const char* dir) {
    int fd = socket_local_client(MP_SERVICE_SOCKET_NAME, kLocalNamespaceAbstract, SOCK_STREAM);
    if (fd < 0)
        return -1;
    int result = send_request_string(fd, "set_play_dir", "path", dir);

    // This read holds the caller until the service has answered or closed, and
    // swallows its reply frame.
    char scratch[128];
    (void)readGuarded(fd, scratch, sizeof(scratch));

    if (waitReadable(fd, kServiceReplyWaitMs) > 0) {
        unsigned char headerBytes[8];
        if (readRetry(fd, headerBytes, sizeof(headerBytes)) == 8) {
            FrameHeader header;
            decodeHeader(headerBytes, &header);
            if (header.magic != SERVICE_FRAME_MAGIC) {
                tprintf("readbuffer: magic %x != %x\n", header.magic, SERVICE_FRAME_MAGIC);
                dumpRejectedBytes(fd, true);
            } else if (header.length > 0) {
                tprintf("readbuffer: len %d > %d\n", header.length, 0);
                dumpRejectedBytes(fd, false);
            }
        }
    }
    close(fd);
    return result;
}
