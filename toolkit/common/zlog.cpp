// Logging, monotonic time and whole-file reading for the program and the toolkit.
#include "zcommon.h"

#include "base/device_paths.h"
#include "base/fd_io.h"
#include "base/files.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <string>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace {

pthread_mutex_t sLogLock = PTHREAD_MUTEX_INITIALIZER;
int sLogFd = -1;
bool sLogToStderr = true;

// Blocks handed out by loadContent, so that a pointer passed back in is recognised and
// its capacity known. They stay reachable from here for the life of the process.
struct ContentBlock {
    char* data;
    size_t capacity;
};
pthread_mutex_t sContentLock = PTHREAD_MUTEX_INITIALIZER;
ContentBlock* sContentBlocks = nullptr;
size_t sContentCount = 0;
size_t sContentCapacity = 0;

constexpr size_t kContentMax = 64u * 1024u * 1024u;

} // namespace

void initLogger(int enable) {
    pthread_mutex_lock(&sLogLock);
    if (enable && sLogFd < 0) {
        makeParentDirs(MP_LOG_FILE);
        sLogFd = open(MP_LOG_FILE, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    }
    pthread_mutex_unlock(&sLogLock);
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
    // One lock around both sinks keeps lines whole and in the same order in each.
    pthread_mutex_lock(&sLogLock);
    if (sLogToStderr)
        writeFully(STDERR_FILENO, text, static_cast<size_t>(length));
    if (sLogFd >= 0)
        writeFully(sLogFd, text, static_cast<size_t>(length));
    pthread_mutex_unlock(&sLogLock);
    free(heap);
}

void tprintfToStderr(bool enabled) {
    pthread_mutex_lock(&sLogLock);
    sLogToStderr = enabled;
    pthread_mutex_unlock(&sLogLock);
}

long systemms() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long>(ts.tv_sec) * 1000L + static_cast<long>(ts.tv_nsec / 1000000L);
}

namespace {

// The index of the block behind *text, or of a new empty one; -1 when the table cannot
// grow. Called with sContentLock held.
long findContentBlock(const char* text) {
    for (size_t i = 0; text && i < sContentCount; ++i) {
        if (sContentBlocks[i].data == text)
            return static_cast<long>(i);
    }
    if (sContentCount == sContentCapacity) {
        size_t capacity = sContentCapacity ? sContentCapacity * 2 : 8;
        auto* grown = static_cast<ContentBlock*>(realloc(sContentBlocks, capacity * sizeof(ContentBlock)));
        if (!grown)
            return -1;
        sContentBlocks = grown;
        sContentCapacity = capacity;
    }
    sContentBlocks[sContentCount] = ContentBlock{nullptr, 0};
    return static_cast<long>(sContentCount++);
}

// Reads the file to its end into the block, growing it: the length read, or -1.
long readIntoBlock(FILE* file, ContentBlock* block) {
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
        }
        size_t room = block->capacity - used - 1;
        size_t got = fread(block->data + used, 1, room, file);
        used += got;
        if (got < room)
            break;
        if (used > kContentMax)
            return -1;
    }
    if (ferror(file))
        return -1;
    block->data[used] = '\0';
    return static_cast<long>(used);
}

} // namespace

int loadContent(const char* path, FILE* file, char** text) {
    (void)path;
    if (!file || !text)
        return -1;
    // The table is locked only to find the block: the read itself runs unlocked, so that
    // threads reading different files do not wait for each other.
    pthread_mutex_lock(&sContentLock);
    long index = findContentBlock(*text);
    ContentBlock block = index >= 0 ? sContentBlocks[index] : ContentBlock{nullptr, 0};
    pthread_mutex_unlock(&sContentLock);
    if (index < 0)
        return -1;
    long length = readIntoBlock(file, &block);
    pthread_mutex_lock(&sContentLock);
    sContentBlocks[index] = block;
    pthread_mutex_unlock(&sContentLock);
    // A grown block has moved: the caller's pointer follows it even after a failure.
    *text = block.data;
    return static_cast<int>(length);
}
