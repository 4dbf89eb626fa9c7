#include "musicservice/reporter.h"

#include "musicservice/cover.h"
#include "musicservice/player.h"
#include "musicservice/playlist.h"
#include "musicservice/recorder.h"
#include "musicservice/resume_state.h"
#include "musicservice/status_writer.h"
#include "musicservice/tap_writer.h"
#include "zcommon.h"

#include <pthread.h>
#include <time.h>

namespace {

constexpr long kTapPeriodMs = 25;
// How often the status is looked at: a new second of the position shows within this.
constexpr long kStatusPeriodMs = 100;
// The file is rewritten when its text changes (while playing, the position every
// second), and otherwise this long after the last rewrite, so that a reader always finds
// a recent one.
constexpr long kStatusRefreshMs = 1000;
// A track is named once its cover is made, or after this long without it; meanwhile the
// status is looked at this often.
constexpr long kCoverWaitMs = 1000;
constexpr long kCoverPollMs = 10;

pthread_mutex_t sReportLock = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t sReportWake;
pthread_once_t sReportWakeOnce = PTHREAD_ONCE_INIT;

// The condition waits on the monotonic clock, so that a change of the wall clock never
// stretches a wait. Made once, before the first use from any thread.
void reportWakeInit() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&sReportWake, &attributes);
    pthread_condattr_destroy(&attributes);
}
bool sReportRunning = false;
bool sKicked = false;
pthread_t sReportThread;
bool sReportStarted = false;

// The reporter thread's own.
uint64_t sShownSerial = 0;
uint64_t sTapSeen = 0;
uint64_t sUnderrunsSeen = 0;
bool sTapSilent = false;
bool sStatusFailed = false;
std::string sStatusShown;
long sStatusWrittenMs = 0;
int16_t sTapSamples[kTapSamples];

long sCoverWaitSince = -1;

// Rewrites the status file if its text changed: false while a new track waits for its
// cover, when the old text stays.
bool reportStatus(PlayerSnapshot* snapshot, long now) {
    playerSnapshot(snapshot);
    // The dump and the cover are in place before the status names the track, so that
    // a reader that sees the new name finds the files that go with it.
    if (snapshot->info && snapshot->trackSerial != sShownSerial) {
        std::string png;
        if (sCoverWaitSince < 0)
            sCoverWaitSince = now;
        if (!coverReady(snapshot->info->cover, &png) && now - sCoverWaitSince < kCoverWaitMs)
            return false;
        sCoverWaitSince = -1;
        writeTrackFiles(*snapshot->info, png);
        sShownSerial = snapshot->trackSerial;
    }
    std::string text = statusText(*snapshot);
    bool due = snapshot->state != kPlayerPlaying && now - sStatusWrittenMs >= kStatusRefreshMs;
    if (text == sStatusShown && !due && !sStatusFailed)
        return true;
    bool failed = text.empty() || writeStatusText(text) < 0;
    if (failed && !sStatusFailed)
        tprintf("musicservice: cannot write the status file\n");
    sStatusFailed = failed;
    sStatusShown = text;
    sStatusWrittenMs = now;
    return true;
}

void reportTap(PlayerState state) {
    if (state == kPlayerStopped) {
        if (!sTapSilent)
            tapClear();
        sTapSilent = true;
        return;
    }
    uint64_t written = outputCopyTap(sTapSamples, kTapSamples);
    if (written == sTapSeen)
        return;
    sTapSeen = written;
    sTapSilent = false;
    tapWrite(sTapSamples);
}

void* reporterThread(void*) {
    PlayerSnapshot snapshot;
    long nextStatus = 0;
    pthread_mutex_lock(&sReportLock);
    while (sReportRunning) {
        bool kicked = sKicked;
        sKicked = false;
        pthread_mutex_unlock(&sReportLock);

        long now = systemms();
        if (kicked || now >= nextStatus)
            nextStatus = now + (reportStatus(&snapshot, now) ? kStatusPeriodMs : kCoverPollMs);
        resumeNote(snapshot, now);
        reportTap(snapshot.state);
        recorderDrain();
        playlistSaveRecent();
        uint64_t underruns = outputUnderruns();
        if (underruns != sUnderrunsSeen)
            tprintf("musicservice: the audio device ran dry (%llu times so far)\n",
                    static_cast<unsigned long long>(underruns));
        sUnderrunsSeen = underruns;

        // Idle, only the status needs a look.
        long next = nextStatus;
        if (snapshot.state == kPlayerPlaying && now + kTapPeriodMs < next)
            next = now + kTapPeriodMs;
        long waitMs = next - systemms();
        pthread_mutex_lock(&sReportLock);
        if (waitMs <= 0 || sKicked || !sReportRunning)
            continue;
        struct timespec until;
        clock_gettime(CLOCK_MONOTONIC, &until);
        until.tv_sec += waitMs / 1000;
        until.tv_nsec += (waitMs % 1000) * 1000000L;
        if (until.tv_nsec >= 1000000000L) {
            until.tv_sec += 1;
            until.tv_nsec -= 1000000000L;
        }
        pthread_cond_timedwait(&sReportWake, &sReportLock, &until);
    }
    pthread_mutex_unlock(&sReportLock);
    return nullptr;
}

} // namespace

int reporterStart() {
    pthread_once(&sReportWakeOnce, reportWakeInit);
    sReportRunning = true;
    if (pthread_create(&sReportThread, nullptr, reporterThread, nullptr) != 0) {
        sReportRunning = false;
        return -1;
    }
    sReportStarted = true;
    return 0;
}

void reporterStop() {
    if (!sReportStarted)
        return;
    pthread_mutex_lock(&sReportLock);
    sReportRunning = false;
    pthread_cond_signal(&sReportWake);
    pthread_mutex_unlock(&sReportLock);
    pthread_join(sReportThread, nullptr);
    sReportStarted = false;
    // Nothing plays once the service has gone.
    PlayerSnapshot snapshot;
    playerSnapshot(&snapshot);
    resumeSave(snapshot, systemms());
    snapshot.state = kPlayerStopped;
    snapshot.positionMs = 0;
    writeStatusText(statusText(snapshot));
    tapClear();
    recorderDrain();
    playlistSaveRecent();
}

void reporterKick() {
    pthread_once(&sReportWakeOnce, reportWakeInit);
    pthread_mutex_lock(&sReportLock);
    sKicked = true;
    pthread_cond_signal(&sReportWake);
    pthread_mutex_unlock(&sReportLock);
}
