#include "musicservice/player.h"

#include "musicservice/decoder.h"
#include "musicservice/output.h"
#include "musicservice/sample_ring.h"
#include "musicservice/service_config.h"
#include "zcommon.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <pthread.h>
#include <time.h>

namespace {

constexpr uint32_t kRingFrames = 65536;   // about 1.4 s of output
constexpr uint32_t kPrimeFrames = 9600;   // 200 ms in the ring before a track starts; kept
                                          // free, so that a cut is primed at once
constexpr uint32_t kWriteChunk = 4096;    // the decoder runs when this much room is free
constexpr int64_t kPreopenMs = 8000;      // the next track is opened this long before the end
constexpr uint32_t kPreopenQueued = 24000; // and only with 0.5 s in the ring, so that its
                                           // opening never starves the device
constexpr int kJoinLimitSeconds = 1;       // how long shutdown waits for the decode thread

enum CommandKind { kOpPlay, kOpRestore, kOpStep, kOpPause, kOpResume, kOpStop, kOpSeek, kOpDeviceLost };

struct Command {
    CommandKind kind;
    std::string path;
    PlaylistStep step;
    int64_t ms;
    int listType;
};

// Where a track's samples begin in the ring, and the track time of that first frame.
struct Mark {
    uint64_t position;
    int64_t startMs;
    std::shared_ptr<const TrackInfo> info;
    uint64_t serial;
};

// An open file on the decode thread, with decoded frames not yet in the ring.
struct Source {
    Decoder* decoder = nullptr;
    std::shared_ptr<const TrackInfo> info;
    const int16_t* pending = nullptr;
    uint32_t pendingCount = 0;
    int64_t startMs = 0;
    uint64_t frames = 0; // written to the ring since startMs
    uint64_t serial = 0; // of its mark
};

// Shared between the command side, the decode thread and the status: under sLock.
pthread_mutex_t sLock = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t sWake;
pthread_once_t sWakeOnce = PTHREAD_ONCE_INIT;

// The condition waits on the monotonic clock, so that a change of the wall clock never
// stretches a wait. Made once, before the first use from any thread.
void wakeInit() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&sWake, &attributes);
    pthread_condattr_destroy(&attributes);
}
std::deque<Command> sCommands;
std::deque<Mark> sMarks;
PlayerState sState = kPlayerStopped;
std::shared_ptr<const TrackInfo> sLastInfo;
uint64_t sLastSerial = 0;
uint64_t sSerial = 0;
int64_t sPendingSeekMs = -1;
bool sRunning = false;

// The decode thread's own.
pthread_t sThread;
bool sThreadStarted = false;
Source sCurrent;
Source sNext;
uint64_t sNextVersion = 0;
bool sNextTried = false;
uint64_t sDrainEnd = 0;
bool sDraining = false;

// Read by the audio callback.
SampleRing sRing;
std::atomic<bool> sHasCommand{false};

void (*sChangeHook)() = nullptr;

void notifyChange() {
    if (sChangeHook)
        sChangeHook();
}

void closeSource(Source* source) {
    decoderClose(source->decoder);
    *source = Source();
}

// Even loudness: the track's gain from its tags, or the album's while the folder list
// plays in order, as an album is heard.
double loudnessFactor(const TrackInfo& info) {
    if (!gServiceConfig.replayGain)
        return 1.0;
    bool album = playlistCurrentType() == ListTypeDir && playlistMode() == PlayModeSequence;
    return replayGainFactor(info.gain, album);
}

// Opens the file and decodes its first frames, so that starting it later only copies.
int openSource(const std::string& path, Source* source) {
    auto info = std::make_shared<TrackInfo>();
    Decoder* decoder = nullptr;
    if (decoderOpen(path.c_str(), &decoder, info.get()) < 0)
        return -1;
    decoderSetGain(decoder, loudnessFactor(*info));
    const int16_t* frames = nullptr;
    int count = decoderRead(decoder, &frames);
    if (count <= 0) {
        tprintf("musicservice: %s holds no audio that decodes\n", path.c_str());
        decoderClose(decoder);
        return -1;
    }
    closeSource(source);
    source->decoder = decoder;
    source->info = info;
    source->pending = frames;
    source->pendingCount = static_cast<uint32_t>(count);
    return 0;
}

void setState(PlayerState state) {
    pthread_mutex_lock(&sLock);
    sState = state;
    pthread_mutex_unlock(&sLock);
    outputSetState(state);
}

// A new mark; its serial, a new one unless given (a seek inside a track keeps the
// track's). fresh: the ring was just discarded, earlier marks are gone.
// sLock held.
uint64_t pushMarkLocked(uint64_t position, int64_t startMs, const std::shared_ptr<const TrackInfo>& info,
                        bool fresh, uint64_t serial) {
    uint64_t heard = ringPlayPosition(&sRing);
    if (fresh)
        sMarks.clear();
    while (sMarks.size() >= 2 && sMarks[1].position <= heard)
        sMarks.pop_front();
    if (serial == 0)
        serial = ++sSerial;
    sMarks.push_back(Mark{position, startMs, info, serial});
    sLastInfo = info;
    sLastSerial = serial;
    return serial;
}

// The mark of what the device is playing now; sLock held.
const Mark* heardMarkLocked() {
    uint64_t heard = ringPlayPosition(&sRing);
    while (sMarks.size() >= 2 && sMarks[1].position <= heard)
        sMarks.pop_front();
    return sMarks.empty() ? nullptr : &sMarks.front();
}

std::shared_ptr<const TrackInfo> heardTrack() {
    pthread_mutex_lock(&sLock);
    const Mark* mark = heardMarkLocked();
    std::shared_ptr<const TrackInfo> info = mark ? mark->info : nullptr;
    pthread_mutex_unlock(&sLock);
    return info;
}

// When the ring already holds the next track but the device still plays the one
// before, commands act on what is heard: the list's cursor goes back to it.
std::shared_ptr<const TrackInfo> reconcileHeard() {
    std::shared_ptr<const TrackInfo> heard = heardTrack();
    if (heard && sCurrent.info && heard != sCurrent.info)
        playlistReturnTo(heard->path);
    return heard;
}

void stopAll() {
    // A stopped service still names the track that was heard last, and "resume" plays
    // it: both are found before the ring is emptied, since at a join it already holds
    // the start of the next track, which was never heard.
    reconcileHeard();
    pthread_mutex_lock(&sLock);
    if (const Mark* heard = heardMarkLocked()) {
        sLastInfo = heard->info;
        sLastSerial = heard->serial;
    }
    sMarks.clear();
    sPendingSeekMs = -1;
    // Stopped with the marks gone: a snapshot never finds the state playing without a
    // mark, which it would report as the last track at position 0.
    sState = kPlayerStopped;
    pthread_mutex_unlock(&sLock);
    closeSource(&sCurrent);
    closeSource(&sNext);
    sNextTried = false;
    sDraining = false;
    ringDiscard(&sRing);
    setState(kPlayerStopped);
}

// Puts the start of the current track into the ring before the device is let go, so
// that its first buffers never find the ring empty on a slow or busy machine (which
// would be heard as a click of silence). The end of a short track is left to fillRing.
void primeRing() {
    while (ringFill(&sRing) < kPrimeFrames) {
        if (sCurrent.pendingCount == 0) {
            const int16_t* frames = nullptr;
            int count = decoderRead(sCurrent.decoder, &frames);
            if (count <= 0)
                return;
            sCurrent.pending = frames;
            sCurrent.pendingCount = static_cast<uint32_t>(count);
        }
        uint32_t written = ringWrite(&sRing, sCurrent.pending, sCurrent.pendingCount);
        if (written == 0)
            return;
        sCurrent.pending += 2 * written;
        sCurrent.pendingCount -= written;
        sCurrent.frames += written;
    }
}

// Cuts over to what the current file gives from startMs: the device fades out and plays
// silence (or stays stopped) while the ring is emptied and primed with the new frames,
// then goes on in the state given. The new mark's serial (a new one unless given).
uint64_t cutOver(int64_t startMs, uint64_t serial, PlayerState then) {
    if (outputState() != kPlayerStopped)
        outputSetState(kPlayerPaused);
    outputSetStreamEnd(UINT64_MAX);
    sDraining = false;
    uint64_t position = ringDiscard(&sRing);
    outputReleaseDiscarded(kPrimeFrames);
    // The new track and the state it goes on in are reported together: from a stop, a
    // status taken in between would name the new track as stopped.
    pthread_mutex_lock(&sLock);
    serial = pushMarkLocked(position, startMs, sCurrent.info, true, serial);
    sPendingSeekMs = -1;
    sState = then;
    pthread_mutex_unlock(&sLock);
    primeRing();
    outputSetState(then);
    return serial;
}

// Plays the file from startMs (in the state given), or the files the list moves on to
// when it cannot be played. false when nothing could be played (then all stops).
bool startTrack(const std::string& path, PlaylistStep onFailure, int64_t startMs, PlayerState then) {
    closeSource(&sNext);
    sNextTried = false;
    Source fresh;
    std::string candidate = path;
    int limit = playlistPlayingCount() + 1;
    for (int attempt = 0;; ++attempt) {
        if (openSource(candidate, &fresh) == 0)
            break;
        tprintf("musicservice: skipping %s\n", candidate.c_str());
        // A command sent meanwhile goes first rather than wait for a list of bad files.
        if (attempt >= limit || sHasCommand.load(std::memory_order_acquire) ||
            playlistStep(onFailure, &candidate) < 0) {
            tprintf("musicservice: nothing left to play\n");
            stopAll();
            return false;
        }
    }
    if (startMs > 0 && decoderSeek(fresh.decoder, startMs) == 0) {
        fresh.pending = nullptr;
        fresh.pendingCount = 0;
        fresh.startMs = startMs;
    }
    closeSource(&sCurrent);
    sCurrent = fresh;
    sCurrent.serial = cutOver(sCurrent.startMs, 0, then);
    playlistNoteStarted(sCurrent.info->path);
    return true;
}

// The track that ends in the ring is followed by the next one straight behind it.
void handOver() {
    closeSource(&sCurrent);
    sCurrent = sNext;
    sNext = Source();
    sNextTried = false;
    pthread_mutex_lock(&sLock);
    sCurrent.serial = pushMarkLocked(sRing.written.load(std::memory_order_relaxed), 0, sCurrent.info, false, 0);
    pthread_mutex_unlock(&sLock);
    playlistNoteStarted(sCurrent.info->path);
}

// The current file has given its last frame: move on. false at the end of the list.
bool advance() {
    if (sNext.decoder) {
        if (playlistCommitAuto(sNextVersion) == 0) {
            handOver();
            return true;
        }
        // The list changed since the next file was opened; it may still be the one.
        std::string path;
        uint64_t version = 0;
        if (playlistPeekAuto(&path, &version) == 0 && path == sNext.info->path && playlistCommitAuto(version) == 0) {
            handOver();
            return true;
        }
        closeSource(&sNext);
    }
    sNextTried = false;
    PlaylistStep step = kStepAuto;
    int limit = playlistPlayingCount() + 1;
    for (int attempt = 0; attempt < limit; ++attempt) {
        std::string path;
        if (playlistStep(step, &path) < 0)
            return false;
        if (openSource(path, &sNext) == 0) {
            handOver();
            return true;
        }
        tprintf("musicservice: skipping %s\n", path.c_str());
        step = kStepSkip;
    }
    return false;
}

// Opens the next track while this one still has a few seconds to decode.
void maybePreopen() {
    int64_t decodedMs = sCurrent.startMs + static_cast<int64_t>(sCurrent.frames * 1000 / kOutputRate);
    if (sCurrent.info->durationMs - decodedMs > kPreopenMs || ringFill(&sRing) < kPreopenQueued)
        return;
    std::string path;
    uint64_t version = 0;
    if (playlistPeekAuto(&path, &version) < 0) {
        closeSource(&sNext);
        return;
    }
    if (sNext.decoder && sNext.info->path == path) {
        sNextVersion = version;
        return;
    }
    if (sNextTried && version == sNextVersion)
        return;
    sNextTried = true;
    sNextVersion = version;
    // The file opened for the list as it was must not stay when this one fails: its
    // version would now match, and the end of the track would play it.
    closeSource(&sNext);
    if (openSource(path, &sNext) < 0)
        tprintf("musicservice: cannot open the next track %s\n", path.c_str());
}

// After the last track of the list: waits until the device has played it out.
int drainWait() {
    if (ringPlayPosition(&sRing) >= sDrainEnd) {
        stopAll();
        notifyChange();
        return 1000;
    }
    return 20;
}

// Keeps the ring filled. Returns how long the thread may sleep (0: come back at once).
int fillRing() {
    for (;;) {
        if (sHasCommand.load(std::memory_order_acquire))
            return 0;
        if (!sCurrent.decoder)
            return 1000;
        if (sCurrent.pendingCount == 0) {
            if (sDraining)
                return drainWait();
            const int16_t* frames = nullptr;
            int count = decoderRead(sCurrent.decoder, &frames);
            if (count > 0) {
                sCurrent.pending = frames;
                sCurrent.pendingCount = static_cast<uint32_t>(count);
            } else {
                if (count < 0)
                    tprintf("musicservice: decoding %s broke down, skipping its rest\n", sCurrent.info->path.c_str());
                if (!advance()) {
                    sDraining = true;
                    sDrainEnd = sRing.written.load(std::memory_order_relaxed);
                    outputSetStreamEnd(sDrainEnd);
                }
                continue;
            }
        }
        uint32_t space = ringSpace(&sRing);
        space = space > kPrimeFrames ? space - kPrimeFrames : 0;
        if (space < kWriteChunk && space < sCurrent.pendingCount) {
            // Full: sleep until about half has been played.
            int64_t fill = ringFill(&sRing);
            int64_t waitMs = (fill - static_cast<int64_t>(sRing.capacity / 2)) * 1000 / kOutputRate;
            return waitMs < 10 ? 10 : static_cast<int>(waitMs);
        }
        uint32_t written = ringWrite(&sRing, sCurrent.pending, std::min(sCurrent.pendingCount, space));
        sCurrent.pending += 2 * written;
        sCurrent.pendingCount -= written;
        sCurrent.frames += written;
        maybePreopen();
    }
}

void seekTo(int64_t ms) {
    std::shared_ptr<const TrackInfo> heard = reconcileHeard();
    if (!sCurrent.decoder || !heard) {
        pthread_mutex_lock(&sLock);
        sPendingSeekMs = -1;
        pthread_mutex_unlock(&sLock);
        return;
    }
    if (heard != sCurrent.info) {
        // The file being heard was already closed: open it again where the seek leads.
        startTrack(heard->path, kStepSkip, ms,
                   outputState() == kPlayerPaused ? kPlayerPaused : kPlayerPlaying);
        return;
    }
    int64_t duration = sCurrent.info->durationMs;
    if (ms > duration && duration > 0)
        ms = duration;
    if (ms < 0)
        ms = 0;
    if (decoderSeek(sCurrent.decoder, ms) < 0) {
        tprintf("musicservice: cannot seek in %s\n", sCurrent.info->path.c_str());
        pthread_mutex_lock(&sLock);
        sPendingSeekMs = -1;
        pthread_mutex_unlock(&sLock);
        return;
    }
    sCurrent.pending = nullptr;
    sCurrent.pendingCount = 0;
    sCurrent.startMs = ms;
    sCurrent.frames = 0;
    closeSource(&sNext);
    sNextTried = false;
    cutOver(ms, sCurrent.serial, outputState() == kPlayerPaused ? kPlayerPaused : kPlayerPlaying);
}

void applyCommand(const Command& command) {
    switch (command.kind) {
    case kOpPlay:
    case kOpRestore:
        if (playlistSelect(command.listType, command.path.c_str()) < 0)
            tprintf("musicservice: %s is not in list %d\n", command.path.c_str(), command.listType);
        else
            startTrack(command.path, kStepSkip, command.ms,
                       command.kind == kOpPlay ? kPlayerPlaying : kPlayerPaused);
        break;
    case kOpStep: {
        reconcileHeard();
        std::string path;
        if (playlistStep(command.step, &path) == 0)
            startTrack(path, command.step == kStepPrevious ? kStepPrevious : kStepSkip, 0, kPlayerPlaying);
        break;
    }
    case kOpPause:
        if (outputState() == kPlayerPlaying)
            setState(kPlayerPaused);
        break;
    case kOpResume:
        if (outputReady() < 0) {
            tprintf("musicservice: no audio device to resume on\n");
        } else if (outputState() == kPlayerPaused) {
            setState(kPlayerPlaying);
        } else if (outputState() == kPlayerStopped) {
            std::string path;
            if (playlistCurrent(&path) == 0)
                startTrack(path, kStepSkip, 0, kPlayerPlaying);
        }
        break;
    case kOpStop:
        stopAll();
        break;
    case kOpSeek:
        seekTo(command.ms);
        break;
    case kOpDeviceLost:
        // Music must not go on in silence: the status says paused, and "resume" plays on
        // whatever device is the default by then.
        tprintf("musicservice: the audio device was lost; paused\n");
        if (outputState() == kPlayerPlaying)
            setState(kPlayerPaused);
        notifyChange();
        outputReopen();
        break;
    }
    notifyChange();
}

void* decodeThread(void*) {
    pthread_mutex_lock(&sLock);
    while (sRunning) {
        if (!sCommands.empty()) {
            Command command = std::move(sCommands.front());
            sCommands.pop_front();
            sHasCommand.store(!sCommands.empty(), std::memory_order_release);
            pthread_mutex_unlock(&sLock);
            applyCommand(command);
            pthread_mutex_lock(&sLock);
            continue;
        }
        pthread_mutex_unlock(&sLock);
        int waitMs = fillRing();
        outputCloseWhenIdle();
        if (waitMs > 1000)
            waitMs = 1000; // an idle device is looked at about once a second
        pthread_mutex_lock(&sLock);
        if (waitMs == 0 || !sCommands.empty() || !sRunning)
            continue;
        struct timespec until;
        clock_gettime(CLOCK_MONOTONIC, &until);
        until.tv_sec += waitMs / 1000;
        until.tv_nsec += static_cast<long>(waitMs % 1000) * 1000000L;
        if (until.tv_nsec >= 1000000000L) {
            until.tv_sec += 1;
            until.tv_nsec -= 1000000000L;
        }
        pthread_cond_timedwait(&sWake, &sLock, &until);
    }
    pthread_mutex_unlock(&sLock);
    closeSource(&sCurrent);
    closeSource(&sNext);
    return nullptr;
}

void post(Command command) {
    pthread_once(&sWakeOnce, wakeInit);
    pthread_mutex_lock(&sLock);
    sCommands.push_back(std::move(command));
    sHasCommand.store(true, std::memory_order_release);
    pthread_cond_signal(&sWake);
    pthread_mutex_unlock(&sLock);
}

// Called on SDL's thread.
void deviceLost() {
    post(Command{kOpDeviceLost, std::string(), kStepSkip, 0, 0});
}

} // namespace

int playerStart(const PlayerOptions& options) {
    if (ringInit(&sRing, kRingFrames) < 0 ||
        outputOpen(&sRing, options.recordPath != nullptr, deviceLost) < 0)
        return -1;

    pthread_once(&sWakeOnce, wakeInit);

    pthread_mutex_lock(&sLock);
    sRunning = true;
    pthread_mutex_unlock(&sLock);
    if (pthread_create(&sThread, nullptr, decodeThread, nullptr) != 0) {
        sRunning = false;
        return -1;
    }
    sThreadStarted = true;
    return 0;
}

int playerShutdown() {
    pthread_once(&sWakeOnce, wakeInit);
    if (sThreadStarted) {
        decoderAbortAll();
        pthread_mutex_lock(&sLock);
        sRunning = false;
        pthread_cond_signal(&sWake);
        pthread_mutex_unlock(&sLock);
        // A read of a file can still hang in the kernel (a dead card or network folder),
        // where nothing interrupts it: the service then ends without the thread.
        struct timespec until;
        clock_gettime(CLOCK_REALTIME, &until);
        until.tv_sec += kJoinLimitSeconds;
        if (pthread_timedjoin_np(sThread, nullptr, &until) != 0) {
            tprintf("musicservice: the decode thread does not end (a file read hangs); leaving it\n");
            return -1;
        }
        sThreadStarted = false;
    }
    outputClose();
    pthread_mutex_lock(&sLock);
    sMarks.clear();
    sCommands.clear();
    pthread_mutex_unlock(&sLock);
    return 0;
}

void playerPlayFromList(int listType, const std::string& path) {
    post(Command{kOpPlay, path, kStepSkip, 0, listType});
}

void playerRestore(int listType, const std::string& path, int64_t ms) {
    post(Command{kOpRestore, path, kStepSkip, ms < 0 ? 0 : ms, listType});
}

void playerStep(PlaylistStep step) {
    post(Command{kOpStep, std::string(), step, 0, 0});
}

void playerPause() {
    post(Command{kOpPause, std::string(), kStepSkip, 0, 0});
}

void playerResume() {
    post(Command{kOpResume, std::string(), kStepSkip, 0, 0});
}

void playerStop() {
    post(Command{kOpStop, std::string(), kStepSkip, 0, 0});
}

void playerSeek(int64_t ms) {
    if (ms < 0)
        ms = 0;
    pthread_once(&sWakeOnce, wakeInit);
    pthread_mutex_lock(&sLock);
    // The status shows the target at once; the decode thread gets there shortly.
    if (sState != kPlayerStopped && sLastInfo) {
        int64_t duration = sLastInfo->durationMs;
        const Mark* heard = heardMarkLocked();
        if (heard && heard->info)
            duration = heard->info->durationMs;
        sPendingSeekMs = duration > 0 && ms > duration ? duration : ms;
    }
    sCommands.push_back(Command{kOpSeek, std::string(), kStepSkip, ms, 0});
    sHasCommand.store(true, std::memory_order_release);
    pthread_cond_signal(&sWake);
    pthread_mutex_unlock(&sLock);
}

void playerSnapshot(PlayerSnapshot* snapshot) {
    pthread_mutex_lock(&sLock);
    snapshot->state = sState;
    snapshot->volume = outputVolume();
    const Mark* mark = sState == kPlayerStopped ? nullptr : heardMarkLocked();
    if (mark) {
        snapshot->info = mark->info;
        snapshot->trackSerial = mark->serial;
        uint64_t heard = ringPlayPosition(&sRing);
        uint64_t played = heard > mark->position ? heard - mark->position : 0;
        int64_t position = mark->startMs + static_cast<int64_t>(played * 1000 / kOutputRate);
        if (mark->info && mark->info->durationMs > 0 && position > mark->info->durationMs)
            position = mark->info->durationMs;
        snapshot->positionMs = sPendingSeekMs >= 0 ? sPendingSeekMs : position;
    } else {
        snapshot->info = sLastInfo;
        snapshot->trackSerial = sLastSerial;
        snapshot->positionMs = 0;
    }
    pthread_mutex_unlock(&sLock);
}

void playerSetChangeHook(void (*hook)()) {
    sChangeHook = hook;
}
