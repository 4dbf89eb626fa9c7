#include "musicservice/output.h"

#include "musicservice/decoder.h"
#include "zcommon.h"

#include <SDL2/SDL.h>
#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kDeviceFrames = 960;           // 20 ms a callback: a whole number of milliseconds
constexpr uint32_t kFadeFrames = 240;        // 5 ms: long enough not to click, short enough not to blur
constexpr uint32_t kTapFrames = 8192;        // mono samples kept for the wave tap
constexpr uint32_t kRecordFrames = 1u << 19; // about 11 s waiting to be written out
constexpr long kIdleCloseMs = 5000;          // paused or stopped this long: the device is closed

// Read by SDL's event filter on the device's thread.
std::atomic<SDL_AudioDeviceID> sDevice{0};
void (*sLostHook)() = nullptr;
SampleRing* sRing = nullptr;
std::atomic<int> sState{kPlayerStopped};
std::atomic<uint64_t> sStreamEnd{UINT64_MAX};
std::atomic<int> sVolume{100};
std::atomic<int32_t> sGainTarget{65536};
// Set by the callback while it hands out silence with nothing left to fade.
std::atomic<bool> sSilent{true};
std::atomic<uint64_t> sUnderruns{0};
// The decode thread's: since when the device has been idle (paused or stopped, faded out).
long sIdleSinceMs = 0;

// The callback's own: the fade level (0 silent, kFadeFrames full), the last frame taken
// from the ring (held and faded when the ring has nothing more before a cut), the gain.
uint32_t sLevel = 0;
int16_t sLast[2] = {0, 0};
int32_t sGainNow = 65536;
bool sDry = false;

std::atomic<int16_t> sTap[kTapFrames];
std::atomic<uint64_t> sTapWritten{0};

SampleRing sRecord;
std::atomic<bool> sRecording{false};
std::atomic<uint64_t> sRecordLost{0};

// Loudness follows the square of the setting, which sounds closer to even steps than
// a straight line; 100 is the samples unchanged.
int32_t gainForVolume(int volume) {
    return static_cast<int32_t>((static_cast<int64_t>(volume) * volume * 65536 + 5000) / 10000);
}

int16_t applyGain(int16_t sample, int32_t gain) {
    return static_cast<int16_t>((static_cast<int32_t>(sample) * gain) >> 16);
}

int16_t faded(int16_t sample) {
    return static_cast<int16_t>(static_cast<int32_t>(sample) * static_cast<int32_t>(sLevel) /
                                static_cast<int32_t>(kFadeFrames));
}

// Fills out with count frames: sound from the ring while playing, faded in after silence;
// before any cut or silence, what was playing fades out over kFadeFrames.
void takeFrames(int16_t* out, uint32_t count, bool playing) {
    bool dry = false;
    uint32_t done = 0;
    while (done < count) {
        int16_t* at = out + 2 * done;
        bool cut =
            sRing->discardTo.load(std::memory_order_acquire) > sRing->read.load(std::memory_order_relaxed);
        if (playing && !cut && !dry) {
            uint32_t got = ringReadBeforeCut(sRing, at, count - done);
            for (uint32_t i = 0; i < got; ++i) {
                sLast[0] = at[2 * i];
                sLast[1] = at[2 * i + 1];
                if (sLevel < kFadeFrames) {
                    ++sLevel;
                    at[2 * i] = faded(at[2 * i]);
                    at[2 * i + 1] = faded(at[2 * i + 1]);
                }
            }
            done += got;
            // Short because of a cut made meanwhile is no fault: the loop fades to it.
            dry = done < count && sRing->discardTo.load(std::memory_order_acquire) <=
                                      sRing->read.load(std::memory_order_relaxed);
            // Once for each time it runs dry, however long that lasts.
            bool fault = dry && ringPlayPosition(sRing) < sStreamEnd.load(std::memory_order_relaxed);
            if (fault && !sDry)
                sUnderruns.fetch_add(1, std::memory_order_relaxed);
            sDry = fault;
        } else if (sLevel > 0) {
            // The frames queued before the cut stay in place until the read position
            // passes them; when there are none, the last frame is held.
            uint32_t fade = sLevel < count - done ? sLevel : count - done;
            uint32_t got = ringReadBeforeCut(sRing, at, fade);
            for (uint32_t i = 0; i < fade; ++i) {
                if (i < got) {
                    sLast[0] = at[2 * i];
                    sLast[1] = at[2 * i + 1];
                }
                --sLevel;
                at[2 * i] = faded(sLast[0]);
                at[2 * i + 1] = faded(sLast[1]);
            }
            done += fade;
        } else if (cut) {
            ringSkipDiscarded(sRing);
        } else {
            memset(at, 0, (count - done) * kOutputChannels * sizeof(int16_t));
            done = count;
        }
    }
}

// Runs on SDL's audio thread: no locks, no allocation, no file access.
void audioCallback(void*, Uint8* stream, int length) {
    auto* out = reinterpret_cast<int16_t*>(stream);
    uint32_t frames = static_cast<uint32_t>(length) / (kOutputChannels * sizeof(int16_t));
    bool playing = sState.load(std::memory_order_acquire) == kPlayerPlaying;
    takeFrames(out, frames, playing);
    sSilent.store(!playing && sLevel == 0, std::memory_order_release);

    // A volume change ramps over one buffer instead of jumping.
    int32_t target = sGainTarget.load(std::memory_order_relaxed);
    int32_t start = sGainNow;
    uint64_t tapAt = sTapWritten.load(std::memory_order_relaxed);
    for (uint32_t i = 0; i < frames; ++i) {
        int32_t gain = start + static_cast<int32_t>(static_cast<int64_t>(target - start) * i / frames);
        int16_t left = applyGain(out[2 * i], gain);
        int16_t right = applyGain(out[2 * i + 1], gain);
        out[2 * i] = left;
        out[2 * i + 1] = right;
        sTap[(tapAt + i) & (kTapFrames - 1)].store(static_cast<int16_t>((left + right) / 2),
                                                   std::memory_order_relaxed);
    }
    sGainNow = target;
    sTapWritten.store(tapAt + frames, std::memory_order_release);

    // Every buffer the device receives, silence included.
    if (sRecording.load(std::memory_order_relaxed)) {
        uint32_t kept = ringWrite(&sRecord, out, frames);
        if (kept < frames)
            sRecordLost.fetch_add(frames - kept, std::memory_order_relaxed);
    }
}

// SDL reports a device that went away (a headset unplugged, a USB DAC removed) as an
// event; it goes on calling back as if it played. Every event is dropped here, so that
// the queue, which nothing reads, stays empty.
int watchEvents(void*, SDL_Event* event) {
    if (event->type == SDL_AUDIODEVICEREMOVED && !event->adevice.iscapture &&
        event->adevice.which == sDevice.load() && sLostHook)
        sLostHook();
    return 0;
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

int outputOpen(SampleRing* ring, bool record, void (*lost)()) {
    sRing = ring;
    sLostHook = lost;
    if (record) {
        if (ringInit(&sRecord, kRecordFrames) < 0)
            return -1;
        sRecording.store(true);
    }
    // The service takes its stop signals itself.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    if (SDL_InitSubSystem(SDL_INIT_EVENTS) == 0)
        SDL_SetEventFilter(watchEvents, nullptr);
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
    return 0;
}

int outputReopen() {
    if (sDevice)
        SDL_CloseAudioDevice(sDevice);
    sDevice = openDevice();
    if (!sDevice) {
        tprintf("musicservice: no audio device opens: %s\n", SDL_GetError());
        return -1;
    }
    tprintf("musicservice: audio device opened again\n");
    if (outputState() != kPlayerStopped)
        SDL_PauseAudioDevice(sDevice, 0);
    return 0;
}

int outputReady() {
    return sDevice ? 0 : outputReopen();
}

void outputClose() {
    if (sDevice)
        SDL_CloseAudioDevice(sDevice);
    sDevice = 0;
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
    SDL_Quit();
    sRecording.store(false);
}

void outputSetState(PlayerState state) {
    sState.store(state, std::memory_order_release);
    sIdleSinceMs = 0;
    if (state != kPlayerStopped) {
        sSilent.store(false, std::memory_order_relaxed);
        // A device closed while idle is opened again (SDL's dummy driver when none opens).
        if (!sDevice && !(sDevice = openDevice()))
            tprintf("musicservice: no audio device opens: %s\n", SDL_GetError());
        SDL_PauseAudioDevice(sDevice, 0);
        return;
    }
    // The device is paused once the callback has faded out (a few buffers at most; a
    // device that has stopped calling back is paused anyway).
    for (int waited = 0; waited < 200 && !sSilent.load(std::memory_order_acquire); ++waited)
        SDL_Delay(1);
    SDL_PauseAudioDevice(sDevice, 1);
}

void outputCloseWhenIdle() {
    bool idle = sDevice && outputState() != kPlayerPlaying && sSilent.load(std::memory_order_acquire);
    long now = static_cast<long>(SDL_GetTicks64());
    if (!idle || !sIdleSinceMs) {
        sIdleSinceMs = idle ? now : 0;
        return;
    }
    if (now - sIdleSinceMs < kIdleCloseMs)
        return;
    SDL_CloseAudioDevice(sDevice);
    sDevice = 0;
    sIdleSinceMs = 0;
    tprintf("musicservice: audio device closed while idle\n");
}

void outputReleaseDiscarded(uint32_t room) {
    // With the device stopped nothing calls back, and nothing reads the ring.
    if (outputState() == kPlayerStopped) {
        ringSkipDiscarded(sRing);
        return;
    }
    for (int waited = 0; waited < 200 && ringSpace(sRing) < room; ++waited)
        SDL_Delay(1);
}

PlayerState outputState() {
    return static_cast<PlayerState>(sState.load(std::memory_order_acquire));
}

void outputSetStreamEnd(uint64_t position) {
    sStreamEnd.store(position, std::memory_order_relaxed);
}

void outputSetVolume(int volume) {
    volume = volume < 1 ? 1 : volume > 100 ? 100 : volume;
    sVolume.store(volume);
    sGainTarget.store(gainForVolume(volume));
}

int outputVolume() {
    return sVolume.load();
}

uint64_t outputCopyTap(int16_t* out, uint32_t count) {
    if (count > kTapFrames)
        count = kTapFrames;
    uint64_t written = sTapWritten.load(std::memory_order_acquire);
    uint64_t first = written - count;
    for (uint32_t i = 0; i < count; ++i)
        out[i] = sTap[(first + i) & (kTapFrames - 1)].load(std::memory_order_relaxed);
    return written;
}

uint32_t outputTakeRecorded(int16_t* out, uint32_t maxFrames) {
    if (!sRecord.data)
        return 0;
    return ringRead(&sRecord, out, maxFrames);
}

uint64_t outputRecordLost() {
    return sRecordLost.load();
}

uint64_t outputUnderruns() {
    return sUnderruns.load(std::memory_order_relaxed);
}
