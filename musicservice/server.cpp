#include "musicservice/server.h"

#include "base/device_paths.h"
#include "musicservice/request.h"
#include "service/protocol/frame.h"
#include "zcommon.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

// Requests are a command word and at most a path.
constexpr int32_t kRequestMax = 65536;
// A connection has this long to deliver its request and take its reply.
constexpr long kClientLifetimeMs = 5000;
constexpr size_t kMaxClients = 128;
constexpr int kBacklog = 128;

struct Client {
    int fd = -1;
    long deadline = 0;
    unsigned char header[kFrameHeaderBytes];
    size_t headerBytes = 0;
    int32_t length = 0;
    std::string body;
    size_t bodyBytes = 0;
    std::string reply; // whole frame, once the request has been handled
    size_t replySent = 0;
    bool replying = false;
};

void closeClient(Client* client) {
    if (client->fd >= 0)
        close(client->fd);
    client->fd = -1;
}

// Sends what the socket takes now; closes once the whole reply is out.
void sendReply(Client* client) {
    while (client->replySent < client->reply.size()) {
        ssize_t n = send(client->fd, client->reply.data() + client->replySent, client->reply.size() - client->replySent,
                         MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return;
        if (n <= 0) {
            tprintf("musicservice: client went away during its reply\n");
            closeClient(client);
            return;
        }
        client->replySent += static_cast<size_t>(n);
    }
    closeClient(client);
}

void handleFrame(Client* client) {
    std::string reply;
    int result = handleRequest(client->body.data(), client->body.size(), &reply);
    if (result <= 0 || reply.empty()) {
        closeClient(client);
        return;
    }
    unsigned char header[kFrameHeaderBytes];
    frameEncodeHeader(header, SERVICE_FRAME_MAGIC, static_cast<int32_t>(reply.size()));
    client->reply.assign(reinterpret_cast<const char*>(header), sizeof(header));
    client->reply += reply;
    client->replying = true;
    sendReply(client);
}

// Reads what has arrived; handles the frame once it is whole.
void readRequest(Client* client) {
    for (;;) {
        char* into;
        size_t want;
        if (client->headerBytes < kFrameHeaderBytes) {
            into = reinterpret_cast<char*>(client->header) + client->headerBytes;
            want = kFrameHeaderBytes - client->headerBytes;
        } else {
            into = &client->body[client->bodyBytes];
            want = client->body.size() - client->bodyBytes;
        }
        ssize_t n = want == 0 ? 0 : recv(client->fd, into, want, MSG_DONTWAIT);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return;
        if (n <= 0 && want > 0) {
            if (client->headerBytes > 0)
                tprintf("musicservice: connection closed after %zu bytes of a frame\n",
                        client->headerBytes + client->bodyBytes);
            closeClient(client);
            return;
        }
        if (client->headerBytes < kFrameHeaderBytes) {
            client->headerBytes += static_cast<size_t>(n);
            if (client->headerBytes < kFrameHeaderBytes)
                continue;
            FrameHeader header;
            frameDecodeHeader(client->header, &header);
            if (header.magic != SERVICE_FRAME_MAGIC) {
                tprintf("musicservice: bad frame magic %08x, connection closed\n", header.magic);
                closeClient(client);
                return;
            }
            if (header.length <= 0 || header.length > kRequestMax) {
                tprintf("musicservice: bad frame length %d, connection closed\n", header.length);
                closeClient(client);
                return;
            }
            client->length = header.length;
            client->body.assign(static_cast<size_t>(header.length), '\0');
            continue;
        }
        client->bodyBytes += static_cast<size_t>(n);
        if (client->bodyBytes == client->body.size()) {
            handleFrame(client);
            return;
        }
    }
}

void acceptClients(int listenFd, std::vector<Client>* clients) {
    while (clients->size() < kMaxClients) {
        int fd = accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED)
                continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK)
                tprintf("musicservice: accept failed: %s\n", strerror(errno));
            return;
        }
        // Only the service's own user and root may drive it: another local user must
        // not control what plays.
        struct ucred peer = {0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};
        socklen_t size = sizeof(peer);
        if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) < 0 ||
            (peer.uid != geteuid() && peer.uid != 0)) {
            tprintf("musicservice: refused a client of user %u (process %d)\n",
                    static_cast<unsigned>(peer.uid), static_cast<int>(peer.pid));
            close(fd);
            continue;
        }
        Client client;
        client.fd = fd;
        client.deadline = systemms() + kClientLifetimeMs;
        clients->push_back(std::move(client));
    }
}

} // namespace

int serverListen() {
    int fd = abstractListen(MP_SERVICE_SOCKET_NAME, kBacklog);
    if (fd < 0)
        return -1;
    // accept never blocks the loop, even when a client gave up between poll and accept.
    int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) {
        int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

int serverRun(int listenFd, int stopFd) {
    std::vector<Client> clients;
    std::vector<struct pollfd> polls;
    for (;;) {
        polls.clear();
        polls.push_back({stopFd, POLLIN, 0});
        // At the limit new connections wait in the backlog until a slot frees.
        polls.push_back({clients.size() < kMaxClients ? listenFd : -1, POLLIN, 0});
        long now = systemms();
        long nearest = -1;
        for (const Client& client : clients) {
            polls.push_back({client.fd, static_cast<short>(client.replying ? POLLOUT : POLLIN), 0});
            long left = client.deadline - now;
            if (nearest < 0 || left < nearest)
                nearest = left < 0 ? 0 : left;
        }
        int ready = poll(polls.data(), polls.size(), nearest < 0 ? -1 : static_cast<int>(nearest) + 1);
        if (ready < 0) {
            if (errno == EINTR)
                continue;
            tprintf("musicservice: poll failed: %s\n", strerror(errno));
            return -1;
        }
        if (polls[0].revents)
            break;
        now = systemms();
        for (size_t i = 0; i < clients.size(); ++i) {
            Client& client = clients[i];
            short events = polls[i + 2].revents;
            if (events & (POLLIN | POLLHUP | POLLERR)) {
                if (client.replying)
                    sendReply(&client);
                else
                    readRequest(&client);
            } else if (events & POLLOUT) {
                sendReply(&client);
            }
            if (client.fd >= 0 && now >= client.deadline) {
                tprintf("musicservice: client stalled %s its frame, connection closed\n",
                        client.replying ? "taking" : "sending");
                closeClient(&client);
            }
        }
        size_t kept = 0;
        for (size_t i = 0; i < clients.size(); ++i) {
            if (clients[i].fd >= 0) {
                if (kept != i)
                    clients[kept] = std::move(clients[i]);
                ++kept;
            }
        }
        clients.resize(kept);
        if (polls[1].revents & POLLIN)
            acceptClients(listenFd, &clients);
    }
    for (Client& client : clients)
        closeClient(&client);
    return 0;
}
