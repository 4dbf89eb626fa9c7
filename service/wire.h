// The wire protocol of the playback service: one abstract AF_UNIX stream connection per
// command, a frame of magic, length and JSON text in both directions.
#pragma once

#include <cstdint>

struct cJSON;

constexpr uint32_t SERVICE_FRAME_MAGIC = 0xABCDEDCBu;
// Largest reply body accepted, 50 MiB.
constexpr int32_t SERVICE_REPLY_MAX = 0x3200000;
// Wait for the first bytes of a reply.
constexpr int kServiceReplyWaitMs = 500;

// Name space selector and socket type for socket_local_client.
enum { kLocalNamespaceAbstract = 0 };

// Connects to the abstract socket of that name; the connected descriptor or -1.
int socket_local_client(const char* name, int nameSpace, int type);

// Sends one request object {"cmd": cmd[, name: value]} as a single frame on an open
// descriptor. Result: what the write returned, or -1 when the frame could not be built.
int send_request(int fd, const char* cmd);
int send_request_string(int fd, const char* cmd, const char* name, const char* value);
int send_request_number(int fd, const char* cmd, const char* name, int value);

// Reads one framed reply after a request (the reading steps of wr_cmd2): a heap text of
// the body with a zero byte behind it, or null. Closes the descriptor on every path.
char* read_reply(int fd);

// Sends a request holding "cmd" alone and returns the reply body (free it), or null.
char* wr_cmd2(const char* cmd);

// Sends "set_play_dir" with the directory, waits for the service to answer or close and
// drops the answer. Result: that of the send, or -1 when the service is unreachable.
int setPlayDir(const char* dir);
