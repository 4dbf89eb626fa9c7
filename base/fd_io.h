// Descriptor reads and writes that survive signals, shared by the service client, the
// companion service and the log.
#pragma once

#include <cstddef>
#include <sys/types.h>

// poll for POLLIN, retried after EINTR with the time that is left: >0 readable, 0 time
// out, <0 error. A negative timeout waits without end.
int waitReadable(int fd, int timeoutMs);

// One read, retried after EINTR.
ssize_t readRetry(int fd, void* buffer, size_t size);

// Reads exactly size bytes unless the peer closes, fails or stays silent for
// stallMs (negative: no limit): the bytes read, which is size on success.
size_t readFully(int fd, void* buffer, size_t size, int stallMs);

// Writes all bytes, continuing after short writes and EINTR. False when the write fails.
bool writeFully(int fd, const void* data, size_t size);
// The same on a socket, without SIGPIPE: a peer that has just gone gives false instead
// of a signal that would end the process.
bool sendFully(int fd, const void* data, size_t size);
