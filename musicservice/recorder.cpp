#include "musicservice/recorder.h"

#include "base/fd_io.h"
#include "musicservice/output.h"
#include "zcommon.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

int sRecordFd = -1;
uint64_t sReportedLost = 0;
int16_t sChunk[2 * 8192];

} // namespace

int recorderOpen(const char* path) {
    sRecordFd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    return sRecordFd < 0 ? -1 : 0;
}

void recorderDrain() {
    if (sRecordFd < 0)
        return;
    uint32_t frames;
    while ((frames = outputTakeRecorded(sChunk, sizeof(sChunk) / (2 * sizeof(int16_t)))) > 0) {
        if (!writeFully(sRecordFd, sChunk, frames * 2 * sizeof(int16_t)))
            tprintf("musicservice: the recording could not be written\n");
    }
    uint64_t lost = outputRecordLost();
    if (lost != sReportedLost) {
        tprintf("musicservice: %llu recorded frames were lost\n", static_cast<unsigned long long>(lost));
        sReportedLost = lost;
    }
}

void recorderClose() {
    recorderDrain();
    if (sRecordFd >= 0)
        close(sRecordFd);
    sRecordFd = -1;
}
