// musicservice: the playback service the music player front end drives. It listens on
// the abstract socket "musicservice", plays through SDL's audio, decodes with FFmpeg,
// and reports through the files under the service folder.
#include "base/device_paths.h"
#include "musicservice/cover.h"
#include "musicservice/media_info.h"
#include "musicservice/player.h"
#include "musicservice/playlist.h"
#include "musicservice/recorder.h"
#include "musicservice/reporter.h"
#include "musicservice/resume_state.h"
#include "musicservice/server.h"
#include "musicservice/service_config.h"
#include "musicservice/service_folder.h"
#include "musicservice/tap_writer.h"
#include "zcommon.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

void usage(const char* program) {
    fprintf(stderr,
            "usage: %s [--record FILE]\n"
            "  --record FILE  also write every sample handed to the audio device to FILE\n"
            "                 (raw 48 kHz stereo signed 16-bit little-endian)\n",
            program);
}

} // namespace

int main(int argc, char** argv) {
    const char* recordPath = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--record") == 0 && i + 1 < argc) {
            recordPath = argv[++i];
        } else {
            usage(argv[0]);
            return strcmp(argv[i], "--help") == 0 ? 0 : 2;
        }
    }

    // A client that goes away mid-reply must not end the service.
    signal(SIGPIPE, SIG_IGN);
    // The stop signals are taken by the server's poll loop; every thread started from
    // here on inherits the mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    int stopFd = signalfd(-1, &stopSignals, SFD_CLOEXEC);

    int listenFd = serverListen();
    if (listenFd < 0) {
        if (errno == EADDRINUSE)
            tprintf("musicservice: another instance is already running "
                            "(the socket name \"" MP_SERVICE_SOCKET_NAME "\" is taken)\n");
        else
            tprintf("musicservice: cannot listen on \"" MP_SERVICE_SOCKET_NAME "\": %s\n", strerror(errno));
        return 1;
    }
    if (stopFd < 0) {
        tprintf("musicservice: cannot take the stop signals: %s\n", strerror(errno));
        return 1;
    }

    if (serviceFolderCheck(MP_SERVICE_DIR) < 0)
        return 1;
    mediaLogInit();
    playlistInit(MP_SERVICE_DATA_DIR);
    serviceConfigLoad(MP_SERVICE_DATA_DIR "/musicservice.conf", &gServiceConfig);
    if (tapOpen(MP_WAVE_TAP_FILE) < 0)
        tprintf("musicservice: cannot map %s: %s\n", MP_WAVE_TAP_FILE, strerror(errno));
    if (recordPath && recorderOpen(recordPath) < 0) {
        tprintf("musicservice: cannot create %s: %s\n", recordPath, strerror(errno));
        return 1;
    }
    if (coverStart() < 0) {
        tprintf("musicservice: cannot start the cover thread\n");
        return 1;
    }
    PlayerOptions options;
    options.recordPath = recordPath;
    playerSetChangeHook(reporterKick);
    if (playerStart(options) < 0) {
        tprintf("musicservice: cannot start playback\n");
        return 1;
    }
    resumeRestore(MP_SERVICE_DATA_DIR);
    if (reporterStart() < 0) {
        tprintf("musicservice: cannot start the reporter\n");
        playerShutdown();
        return 1;
    }
    tprintf("musicservice: listening on \"%s\", files in %s\n", MP_SERVICE_SOCKET_NAME, MP_SERVICE_DIR);

    int result = serverRun(listenFd, stopFd);
    close(listenFd);

    tprintf("musicservice: stopping\n");
    reporterStop();
    bool stuck = playerShutdown() < 0;
    stuck = coverStop() < 0 || stuck;
    recorderClose();
    tapClose();
    close(stopFd);
    // A thread stuck in a file read or a picture must not meet the destructors of what
    // it uses.
    if (stuck)
        _exit(result < 0 ? 1 : 0);
    return result < 0 ? 1 : 0;
}
