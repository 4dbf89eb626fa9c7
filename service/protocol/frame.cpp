#include "service/protocol/frame.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

void frameEncodeHeader(unsigned char* bytes, uint32_t magic, int32_t length) {
    memcpy(bytes, &magic, 4);
    memcpy(bytes + 4, &length, 4);
}

void frameDecodeHeader(const unsigned char* bytes, FrameHeader* header) {
    memcpy(&header->magic, bytes, 4);
    memcpy(&header->length, bytes + 4, 4);
}

unsigned char* frameBuild(const char* text, int32_t length) {
    if (length < 0)
        return nullptr;
    auto* frame = static_cast<unsigned char*>(malloc(static_cast<size_t>(length) + kFrameHeaderBytes));
    if (!frame)
        return nullptr;
    frameEncodeHeader(frame, SERVICE_FRAME_MAGIC, length);
    memcpy(frame + kFrameHeaderBytes, text, static_cast<size_t>(length));
    return frame;
}

socklen_t abstractAddress(const char* name, struct sockaddr_un* address) {
    memset(address, 0, sizeof(*address));
    address->sun_family = AF_UNIX;
    size_t nameLength = strnlen(name, sizeof(address->sun_path) - 1);
    memcpy(address->sun_path + 1, name, nameLength);
    return static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) + 1 + nameLength);
}

int abstractListen(const char* name, int backlog) {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    struct sockaddr_un address;
    socklen_t length = abstractAddress(name, &address);
    if (bind(fd, reinterpret_cast<struct sockaddr*>(&address), length) < 0 || listen(fd, backlog) < 0) {
        close(fd);
        return -1;
    }
    return fd;
}
