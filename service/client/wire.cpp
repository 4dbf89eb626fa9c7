#include "service/client/wire.h"

#include "base/device_paths.h"
#include "base/fd_io.h"
#include "zcommon.h"

#include <cerrno>
#include <cjson/cJSON.h>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Scratch for the bytes of a rejected reply; only the window thread reads replies.
char sDumpBuffer[1024];

// The protocol's blocking reads have no deadline of their own; these generous ones only
// keep a hung service from freezing the screen for good. The answer to "set_play_dir"
// may follow a scan of a large folder on a slow card, so it gets much longer.
constexpr int kStallGuardMs = 5000;
constexpr int kPlayDirGuardMs = 60000;

// Reads up to the size of sDumpBuffer and logs what arrived, never past those bytes.
void dumpRejectedBytes(int fd, bool log) {
    ssize_t n = waitReadable(fd, kStallGuardMs) > 0 ? readRetry(fd, sDumpBuffer, sizeof(sDumpBuffer)) : 0;
    if (!log)
        return;
    int used = n > 0 ? static_cast<int>(n) : 0;
    tprintf("readbuffer: dump %.*s\n", used, sDumpBuffer);
}

// Waits for the first reply bytes and reads the header: 1 with a good magic, 0 when
// nothing or less than a header came, -1 for a wrong magic (logged, with the bytes
// that followed).
int readReplyHeader(int fd, FrameHeader* header) {
    if (waitReadable(fd, kServiceReplyWaitMs) <= 0)
        return 0;
    unsigned char bytes[kFrameHeaderBytes];
    if (readRetry(fd, bytes, sizeof(bytes)) != static_cast<ssize_t>(sizeof(bytes)))
        return 0;
    frameDecodeHeader(bytes, header);
    if (header->magic != SERVICE_FRAME_MAGIC) {
        tprintf("readbuffer: magic %x != %x\n", header->magic, SERVICE_FRAME_MAGIC);
        dumpRejectedBytes(fd, true);
        return -1;
    }
    return 1;
}

int sendObject(int fd, cJSON* request) {
    char* text = cJSON_Print(request);
    if (!text)
        return -1;
    int32_t length = static_cast<int32_t>(strlen(text));
    int result = -1;
    if (unsigned char* frame = frameBuild(text, length)) {
        // One write, not continued when short. MSG_NOSIGNAL: a service that has just
        // dropped the connection gives EPIPE here instead of ending the process.
        result = static_cast<int>(send(fd, frame, static_cast<size_t>(length) + kFrameHeaderBytes, MSG_NOSIGNAL));
        free(frame);
    }
    free(text);
    return result;
}

// A request object whose first member is "cmd".
cJSON* newRequest(const char* cmd) {
    cJSON* request = cJSON_CreateObject();
    if (request)
        cJSON_AddStringToObject(request, kMemberCmd, cmd);
    return request;
}

int sendAndDelete(int fd, cJSON* request) {
    if (!request)
        return -1;
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
    socklen_t length = abstractAddress(name, &address);
    int rc;
    do {
        rc = connect(fd, reinterpret_cast<struct sockaddr*>(&address), length);
    } while (rc < 0 && errno == EINTR);
    if (rc < 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int connectService() {
    return socket_local_client(MP_SERVICE_SOCKET_NAME, kLocalNamespaceAbstract, SOCK_STREAM);
}

int send_request(int fd, const char* cmd) {
    return sendAndDelete(fd, newRequest(cmd));
}

int send_request_string(int fd, const char* cmd, const char* name, const char* value) {
    cJSON* request = newRequest(cmd);
    if (request)
        cJSON_AddStringToObject(request, name, value);
    return sendAndDelete(fd, request);
}

int send_request_number(int fd, const char* cmd, const char* name, int value) {
    cJSON* request = newRequest(cmd);
    if (request)
        cJSON_AddNumberToObject(request, name, value);
    return sendAndDelete(fd, request);
}

char* read_reply(int fd) {
    FrameHeader header;
    char* body = nullptr;
    if (readReplyHeader(fd, &header) <= 0) {
        // Nothing, a short header or a wrong magic: no reply.
    } else if (header.length > SERVICE_REPLY_MAX) {
        tprintf("readbuffer: len %d > 50M\n", header.length);
    } else if (header.length < 0) {
        // A negative length is a bad header like any other.
    } else if (!(body = static_cast<char*>(malloc(static_cast<size_t>(header.length) + 1)))) {
        tprintf("readbuffer: malloc failed\n");
    } else {
        size_t length = static_cast<size_t>(header.length);
        size_t received = 0;
        while (received < length) {
            ssize_t n = waitReadable(fd, kStallGuardMs) > 0 ? readRetry(fd, body + received, length - received) : 0;
            if (n <= 0) {
                tprintf("readbuffer: readed %d, n %d\n", static_cast<int>(received), static_cast<int>(n));
                free(body);
                body = nullptr;
                break;
            }
            received += static_cast<size_t>(n);
        }
        if (body)
            body[length] = '\0';
    }
    close(fd);
    return body;
}

char* wr_cmd2(const char* cmd) {
    int fd = connectService();
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
    int fd = connectService();
    if (fd < 0)
        return -1;
    int result = send_request_string(fd, kCmdSetPlayDir, kMemberPath, dir);

    // This read holds the caller until the service has answered or closed, and
    // swallows its reply frame.
    char scratch[128];
    if (waitReadable(fd, kPlayDirGuardMs) > 0)
        (void)readRetry(fd, scratch, sizeof(scratch));

    FrameHeader header;
    if (readReplyHeader(fd, &header) > 0 && header.length > 0) {
        tprintf("readbuffer: len %d > %d\n", header.length, 0);
        dumpRejectedBytes(fd, false);
    }
    close(fd);
    return result;
}
