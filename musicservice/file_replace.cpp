#include "musicservice/file_replace.h"

#include "base/fd_io.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

int replaceFile(const char* path, const void* data, size_t size, bool durable) {
    // One temporary name per target; only one thread of the service writes each file.
    // It is made anew, never opened through whatever may lie there (a symlink planted
    // or a file left by a crash, which is removed first).
    std::string temp = std::string(path) + ".tmp";
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    int fd = open(temp.c_str(), flags, 0644);
    if (fd < 0 && errno == EEXIST && unlink(temp.c_str()) == 0)
        fd = open(temp.c_str(), flags, 0644);
    if (fd < 0)
        return -1;
    bool ok = writeFully(fd, data, size);
    ok = ok && (!durable || fsync(fd) == 0);
    ok = close(fd) == 0 && ok;
    if (!ok || rename(temp.c_str(), path) != 0) {
        unlink(temp.c_str());
        return -1;
    }
    if (durable) {
        // The rename itself reaches the card with the folder's entry.
        std::string folder = std::string(path).substr(0, std::string(path).find_last_of('/') + 1);
        int dir = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (dir >= 0) {
            fsync(dir);
            close(dir);
        }
    }
    return 0;
}
