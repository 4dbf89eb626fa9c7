// Feeds arbitrary bytes to the reply reader as a service would send them, then closes.
#include "service/client/wire.h"
#include "zcommon.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    tprintfToStderr(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
        return 0;
    // The default input limit stays far below the socket buffer, so this never blocks.
    if (size == 0 || write(pair[0], data, size) == static_cast<ssize_t>(size)) {
        shutdown(pair[0], SHUT_WR);
        // A body came back: it holds exactly the announced bytes and a terminator.
        if (char* body = read_reply(pair[1])) {
            uint32_t length;
            memcpy(&length, data + 4, 4);
            if (memcmp(body, data + 8, length) != 0 || body[length] != '\0')
                abort();
            free(body);
        }
    } else {
        close(pair[1]);
    }
    close(pair[0]);
    return 0;
}
