// The front end's side of the playback service's protocol: one abstract AF_UNIX stream
// connection per command, one framed JSON request, at most one framed reply.
#pragma once

#include "service/protocol/frame.h"

struct cJSON;

// Wait for the first bytes of a reply.
constexpr int kServiceReplyWaitMs = 500;

// Name space selector and socket type for socket_local_client.
enum { kLocalNamespaceAbstract = 0 };

// Connects to the abstract socket of that name; the connected descriptor or -1.
int socket_local_client(const char* name, int nameSpace, int type);
// Connects to the playback service; the descriptor or -1.
int connectService();

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
