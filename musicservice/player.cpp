#include "musicservice/player.h"

#include "musicservice/decoder.h"
#include "musicservice/sample_ring.h"
#include "zcommon.h"

#include <SDL2/SDL.h>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <pthread.h>
#include <time.h>

namespace {

constexpr uint32_t kRingFrames = 65536;   // about 1.4 s of output
constexpr uint32_t kPrimeFrames = 9600;   // 200 ms in the ring before a track starts
constexpr uint32_t kWriteChunk = 4096;    // the decoder runs when this much room is free
constexpr int64_t kPreopenMs = 8000;      // the next track is opened this long before the end
constexpr uint32_t kPreopenQueued = 24000; // and only with 0.5 s in the ring, so that its
                                           // opening never starves the device
constexpr uint32_t kTapFrames = 8192;     // mono samples kept for the wave tap
constexpr uint32_t kRecordFrames = 1u << 19; // about 11 s waiting to be written out
constexpr int kDeviceFrames = 960;        // 20 ms a callback: a whole number of milliseconds
constexpr int kJoinLimitSeconds = 1;      // how long shutdown waits for the decode thread

enum CommandKind { kOpPlay, kOpStep, kOpPause, kOpResume, kOpStop, kOpSeek };

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
SDL_AudioDeviceID sDevice = 0;

// Read by the audio callback.
SampleRing sRing;
std::atomic<int> sOutputState{kPlayerStopped};
std::atomic<int> sVolume{100};
std::atomic<int32_t> sGainTarget{65536};
int32_t sGainNow = 65536; // the callback's own
std::atomic<bool> sHasCommand{false};

std::atomic<int16_t> sTap[kTapFrames];
std::atomic<uint64_t> sTapWritten{0};

SampleRing sRecord;
std::atomic<bool> sRecording{false};
std::atomic<uint64_t> sRecordLost{0};

void (*sChangeHook)() = nullptr;

void notifyChange() {
    if (sChangeHook)
        sChangeHook();
}

// Loudness follows the square of the setting, which sounds closer to even steps than
// a straight line; 100 is the samples unchanged.
int32_t gainForVolume(int volume) {
    return static_cast<int32_t>((static_cast<int64_t>(volume) * volume * 65536 + 5000) / 10000);
}

int16_t applyGain(int16_t sample, int32_t gain) {
    return static_cast<int16_t>((static_cast<int32_t>(sample) * gain) >> 16);
}

// Runs on SDL's audio thread: no locks, no allocation, no file access.
void audioCallback(void*, Uint8* stream, int length) {
    auto* out = reinterpret_cast<int16_t*>(stream);
    uint32_t frames = static_cast<uint32_t>(length) / (kOutputChannels * sizeof(int16_t));
    if (sOutputState.load(std::memory_order_acquire) != kPlayerPlaying) {
        ringSkipDiscarded(&sRing);
        memset(stream, 0, static_cast<size_t>(length));
        return;
    }
    uint32_t got = ringRead(&sRing, out, frames);
    if (got < frames)
        memset(out + 2 * got, 0, (frames - got) * kOutputChannels * sizeof(int16_t));

    // A volume change ramps over one buffer instead of jumping.
    int32_t target = sGainTarget.load(std::memory_order_relaxed);
    int32_t start = sGainNow;
    uint64_t tapAt = sTapWritten.load(std::memory_order_relaxed);
    for (uint32_t i = 0; i < frames; ++i) {
        int32_t gain = start == target ? target : start + static_cast<int32_t>(static_cast<int64_t>(target - start) * i / frames);
        int16_t left = applyGain(out[2 * i], gain);
        int16_t right = applyGain(out[2 * i + 1], gain);
        out[2 * i] = left;
        out[2 * i + 1] = right;
        sTap[(tapAt + i) & (kTapFrames - 1)].store(static_cast<int16_t>((left + right) / 2), std::memory_order_relaxed);
    }
    sGainNow = target;
    sTapWritten.store(tapAt + frames, std::memory_order_release);

    if (sRecording.load(std::memory_order_relaxed)) {
        uint32_t kept = ringWrite(&sRecord, out, frames);
        if (kept < frames)
            sRecordLost.fetch_add(frames - kept, std::memory_order_relaxed);
    }
}

void closeSource(Source* source) {
    decoderClose(source->decoder);
    *source = Source();
}

// Opens the file and decodes its first frames, so that starting it later only copies.
int openSource(const std::string& path, Source* source) {
    auto info = std::make_shared<TrackInfo>();
    Decoder* decoder = nullptr;
    if (decoderOpen(path.c_str(), &decoder, info.get()) < 0)
        return -1;
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
    sOutputState.store(state, std::memory_order_release);
    SDL_PauseAudioDevice(sDevice, state == kPlayerStopped ? 1 : 0);
}

// A new mark; its serial, a new one unless given (a seek inside a track keeps the
// track's). fresh: the ring was just discarded, earlier marks are gone.
uint64_t pushMark(uint64_t position, int64_t startMs, const std::shared_ptr<const TrackInfo>& info, bool fresh,
                  uint64_t serial) {
    pthread_mutex_lock(&sLock);
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
    pthread_mutex_unlock(&sLock);
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

// Plays the file from startMs, or the files the list moves on to when it cannot be
// played. false when nothing could be played (then all stops).
bool startTrack(const std::string& path, PlaylistStep onFailure, int64_t startMs) {
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
    sDraining = false;
    // The device plays silence, not the start of the ring, until it has been primed.
    sOutputState.store(kPlayerPaused, std::memory_order_release);
    uint64_t position = ringDiscard(&sRing);
    sCurrent.serial = pushMark(position, sCurrent.startMs, sCurrent.info, true, 0);
    pthread_mutex_lock(&sLock);
    sPendingSeekMs = -1;
    pthread_mutex_unlock(&sLock);
    primeRing();
    setState(kPlayerPlaying);
    playlistNoteStarted(sCurrent.info->path);
    return true;
}

// The track that ends in the ring is followed by the next one straight behind it.
void handOver() {
    closeSource(&sCurrent);
    sCurrent = sNext;
    sNext = Source();
    sNextTried = false;
    sCurrent.serial = pushMark(sRing.written.load(std::memory_order_relaxed), 0, sCurrent.info, false, 0);
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
                }
                continue;
            }
        }
        uint32_t space = ringSpace(&sRing);
        if (space < kWriteChunk && space < sCurrent.pendingCount) {
            // Full: sleep until about half has been played.
            int64_t fill = ringFill(&sRing);
            int64_t waitMs = (fill - static_cast<int64_t>(sRing.capacity / 2)) * 1000 / kOutputRate;
            return waitMs < 10 ? 10 : static_cast<int>(waitMs);
        }
        uint32_t written = ringWrite(&sRing, sCurrent.pending, sCurrent.pendingCount);
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
        PlayerState state = sOutputState.load() == kPlayerPaused ? kPlayerPaused : kPlayerPlaying;
        startTrack(heard->path, kStepSkip, ms);
        if (state == kPlayerPaused)
            setState(kPlayerPaused);
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
    sDraining = false;
    closeSource(&sNext);
    sNextTried = false;
    uint64_t position = ringDiscard(&sRing);
    pushMark(position, ms, sCurrent.info, true, sCurrent.serial);
    pthread_mutex_lock(&sLock);
    sPendingSeekMs = -1;
    pthread_mutex_unlock(&sLock);
}

void applyCommand(const Command& command) {
    switch (command.kind) {
    case kOpPlay:
        if (playlistSelect(command.listType, command.path.c_str()) < 0)
            tprintf("musicservice: %s is not in list %d\n", command.path.c_str(), command.listType);
        else
            startTrack(command.path, kStepSkip, 0);
        break;
    case kOpStep: {
        reconcileHeard();
        std::string path;
        if (playlistStep(command.step, &path) == 0)
            startTrack(path, command.step == kStepPrevious ? kStepPrevious : kStepSkip, 0);
        break;
    }
    case kOpPause:
        if (sOutputState.load() == kPlayerPlaying)
            setState(kPlayerPaused);
        break;
    case kOpResume:
        if (sOutputState.load() == kPlayerPaused) {
            setState(kPlayerPlaying);
        } else if (sOutputState.load() == kPlayerStopped) {
            std::string path;
            if (playlistCurrent(&path) == 0)
                startTrack(path, kStepSkip, 0);
        }
        break;
    case kOpStop:
        stopAll();
        break;
    case kOpSeek:
        seekTo(command.ms);
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

SDL_AudioDeviceID openDevice() {
    SDL_AudioSpec want;
    SDL_zero(want);
    want.freq = kOutputRate;
    want.format = AUDIO_S16SYS;
    want.channels = kOutputChannels;
    want.samples = kDeviceFrames;
    want.callback = audioCallback;
    SDL_AudioSpec have;
    // No changes allowed: SDL converts for a device that wants another format.
    return SDL_OpenAudioDevice(nullptr, 0, &want, &have, 0);
}

} // namespace

int playerStart(const PlayerOptions& options) {
    if (ringInit(&sRing, kRingFrames) < 0)
        return -1;
    if (options.recordPath) {
        if (ringInit(&sRecord, kRecordFrames) < 0)
            return -1;
        sRecording.store(true);
    }
    bool ready = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0 && (sDevice = openDevice()) != 0;
    if (!ready) {
        // A machine without sound still gets a service whose time passes as it should.
        tprintf("musicservice: no audio output (%s); using the dummy driver\n", SDL_GetError());
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
        setenv("SDL_AUDIODRIVER", "dummy", 1);
        ready = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0 && (sDevice = openDevice()) != 0;
    }
    if (!ready) {
        tprintf("musicservice: cannot open any audio device: %s\n", SDL_GetError());
        return -1;
    }
    tprintf("musicservice: audio through %s\n", SDL_GetCurrentAudioDriver());

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
    if (sDevice) {
        SDL_CloseAudioDevice(sDevice);
        sDevice = 0;
    }
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
    SDL_Quit();
    sRecording.store(false);
    pthread_mutex_lock(&sLock);
    sMarks.clear();
    sCommands.clear();
    pthread_mutex_unlock(&sLock);
    return 0;
}

void playerPlayFromList(int listType, const std::string& path) {
    post(Command{kOpPlay, path, kStepSkip, 0, listType});
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

void playerSetVolume(int volume) {
    volume = volume < 1 ? 1 : volume > 100 ? 100 : volume;
    sVolume.store(volume);
    sGainTarget.store(gainForVolume(volume));
}

int playerVolume() {
    return sVolume.load();
}

void playerSnapshot(PlayerSnapshot* snapshot) {
    pthread_mutex_lock(&sLock);
    snapshot->state = sState;
    snapshot->volume = sVolume.load();
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

uint64_t playerCopyTap(int16_t* out, uint32_t count) {
    if (count > kTapFrames)
        count = kTapFrames;
    uint64_t written = sTapWritten.load(std::memory_order_acquire);
    uint64_t first = written - count;
    for (uint32_t i = 0; i < count; ++i)
        out[i] = sTap[(first + i) & (kTapFrames - 1)].load(std::memory_order_relaxed);
    return written;
}

uint32_t playerTakeRecorded(int16_t* out, uint32_t maxFrames) {
    if (!sRecord.data)
        return 0;
    return ringRead(&sRecord, out, maxFrames);
}

uint64_t playerRecordLost() {
    return sRecordLost.load();
}

void playerSetChangeHook(void (*hook)()) {
    sChangeHook = hook;
}
