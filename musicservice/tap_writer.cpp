#include "musicservice/tap_writer.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

unsigned char* sTap = nullptr;

} // namespace

int tapOpen(const char* path) {
    // The file is kept across restarts, but only when it is the service's own: anything
    // else under the name (a symlink, a FIFO, a file linked elsewhere) is replaced.
    int fd = open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) < 0 || !S_ISREG(info.st_mode) || info.st_nlink != 1 ||
        info.st_uid != geteuid()) {
        if (fd >= 0)
            close(fd);
        if (unlink(path) < 0 && errno != ENOENT)
            return -1;
        fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    }
    if (fd < 0)
        return -1;
    if (fstat(fd, &info) < 0 || (info.st_size != kTapFileBytes && ftruncate(fd, kTapFileBytes) < 0)) {
        close(fd);
        return -1;
    }
    void* map = mmap(nullptr, kTapFileBytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (map == MAP_FAILED)
        return -1;
    sTap = static_cast<unsigned char*>(map);
    return 0;
}

void tapWrite(const int16_t* samples) {
    if (!sTap)
        return;
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    memcpy(sTap, samples, kTapSamples * sizeof(int16_t));
#else
    for (uint32_t i = 0; i < kTapSamples; ++i) {
        auto value = static_cast<uint16_t>(samples[i]);
        sTap[2 * i] = static_cast<unsigned char>(value & 0xFF);
        sTap[2 * i + 1] = static_cast<unsigned char>(value >> 8);
    }
#endif
}

void tapClear() {
    if (sTap)
        memset(sTap, 0, kTapSamples * sizeof(int16_t));
}

void tapClose() {
    if (sTap)
        munmap(sTap, kTapFileBytes);
    sTap = nullptr;
}
