#include "musicservice/file_replace.h"

#include "base/fd_io.h"

#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

int replaceFile(const char* path, const void* data, size_t size) {
    // One temporary name per target; only one thread of the service writes each file.
    std::string temp = std::string(path) + ".tmp";
    int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return -1;
    bool ok = writeFully(fd, data, size);
    ok = close(fd) == 0 && ok;
    if (!ok || rename(temp.c_str(), path) != 0) {
        unlink(temp.c_str());
        return -1;
    }
    return 0;
}
