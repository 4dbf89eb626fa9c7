// The frame of the playback service's protocol, the same in both directions: a 32-bit
// magic, a signed 32-bit body length, both in the machine's (little-endian) byte
// order, then the body, the text of one JSON object without a terminating zero. Shared
// by the front end's client and by the companion service.
#pragma once

#include "service/protocol/protocol.h"

#include <cstddef>
#include <cstdint>
#include <sys/socket.h>
#include <sys/un.h>

constexpr size_t kFrameHeaderBytes = 8;

struct FrameHeader {
    uint32_t magic;
    int32_t length;
};

void frameEncodeHeader(unsigned char* bytes, uint32_t magic, int32_t length);
void frameDecodeHeader(const unsigned char* bytes, FrameHeader* header);

// A heap block holding the header and the length bytes of text, ready for a single
// write; its size is length + 8. Null when it cannot be allocated.
unsigned char* frameBuild(const char* text, int32_t length);

// Fills the address of an abstract socket name: family, a leading zero byte, the
// name without a terminator, the rest zero. Returns the address length to pass to
// connect or bind: 2 + 1 + the name's length, not the size of the structure.
socklen_t abstractAddress(const char* name, struct sockaddr_un* address);

// A stream socket bound to the abstract name and listening; -1 when the name is taken
// or the socket cannot be made.
int abstractListen(const char* name, int backlog);
