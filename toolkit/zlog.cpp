// Logging, monotonic time and whole-file reading for the program and the toolkit.
#include "zcommon.h"
#include "zpaths.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace {

std::mutex sLogLock;
int sLogFd = -1;
bool sLogToStderr = true;

// Writes all bytes, continuing after short writes and signals.
void writeAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        ssize_t n = write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
}

void makeParentDirs(const char* file) {
    std::string path(file);
    for (size_t i = 1; i < path.size(); ++i) {
        if (path[i] == '/') {
            path[i] = '\0';
            mkdir(path.c_str(), 0755);
            path[i] = '/';
        }
    }
}

// Blocks handed out by loadContent, so that a pointer passed back in is recognised and
// its capacity known. They stay reachable from here for the life of the process.
struct ContentBlock {
    char* data;
    size_t capacity;
};
std::mutex sContentLock;
ContentBlock* sContentBlocks = nullptr;
size_t sContentCount = 0;
size_t sContentCapacity = 0;

constexpr size_t kContentMax = 64u * 1024u * 1024u;

} // namespace

void initLogger(int enable) {
    std::lock_guard<std::mutex> guard(sLogLock);
    if (!enable || sLogFd >= 0)
        return;
    makeParentDirs(ZW_LOG_FILE);
    sLogFd = open(ZW_LOG_FILE, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
}

void tprintf(const char* format, ...) {
    char stackBuffer[1024];
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    int length = vsnprintf(stackBuffer, sizeof(stackBuffer), format, args);
    va_end(args);
    if (length < 0) {
        va_end(copy);
        return;
    }
    char* text = stackBuffer;
    char* heap = nullptr;
    if (static_cast<size_t>(length) >= sizeof(stackBuffer)) {
        heap = static_cast<char*>(malloc(static_cast<size_t>(length) + 1));
        if (heap) {
            vsnprintf(heap, static_cast<size_t>(length) + 1, format, copy);
            text = heap;
        } else {
            length = sizeof(stackBuffer) - 1;
        }
    }
    va_end(copy);
    {
        // One lock around both sinks keeps lines whole and in the same order in each.
        std::lock_guard<std::mutex> guard(sLogLock);
        if (sLogToStderr)
            writeAll(STDERR_FILENO, text, static_cast<size_t>(length));
        if (sLogFd >= 0)
            writeAll(sLogFd, text, static_cast<size_t>(length));
    }
    free(heap);
}

void tprintfToStderr(bool enabled) {
    std::lock_guard<std::mutex> guard(sLogLock);
    sLogToStderr = enabled;
}

long systemms() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long>(ts.tv_sec) * 1000L + static_cast<long>(ts.tv_nsec / 1000000L);
}

int loadContent(const char* path, FILE* file, char** text) {
    (void)path;
    if (!file || !text)
        return -1;

    std::lock_guard<std::mutex> guard(sContentLock);
    ContentBlock* block = nullptr;
    if (*text) {
        for (size_t i = 0; i < sContentCount; ++i) {
            if (sContentBlocks[i].data == *text) {
                block = &sContentBlocks[i];
                break;
            }
        }
    }
    if (!block) {
        if (sContentCount == sContentCapacity) {
            size_t capacity = sContentCapacity ? sContentCapacity * 2 : 8;
            auto* grown =
                static_cast<ContentBlock*>(realloc(sContentBlocks, capacity * sizeof(ContentBlock)));
            if (!grown)
                return -1;
            sContentBlocks = grown;
            sContentCapacity = capacity;
        }
        block = &sContentBlocks[sContentCount++];
        block->data = nullptr;
        block->capacity = 0;
    }

    // Read to the end, whatever the file's size claims: the writer may be mid-way.
    size_t used = 0;
    for (;;) {
        if (block->capacity < used + 4096 + 1) {
            size_t capacity = block->capacity ? block->capacity : 4096;
            while (capacity < used + 4096 + 1)
                capacity *= 2;
            if (capacity > kContentMax + 4096 + 1)
                return -1;
            char* grown = static_cast<char*>(realloc(block->data, capacity));
            if (!grown)
                return -1;
            block->data = grown;
            block->capacity = capacity;
            *text = grown;
        }
        size_t room = block->capacity - used - 1;
        size_t got = fread(block->data + used, 1, room, file);
        used += got;
        if (got < room) {
            if (ferror(file))
                return -1;
            break;
        }
        if (used > kContentMax)
            return -1;
    }
    block->data[used] = '\0';
    *text = block->data;
    return static_cast<int>(used);
}
