// Keys of the now-playing screen. Each action has a key of its own; the commands go
// straight to the service and the picture follows when the status says so. Seeking is
// the exception: a press moves the target at once and the bar follows it, while the one
// "seek" goes out from a timer 200 ms after the last press of a run.
#include "playwindow/screen/music_play_window.h"

#include "app/shared/config.h"
#include "app/shared/screen_state.h"
#include "base/device_paths.h"
#include "playwindow/screen/play_window_internal.h"
#include "popups/popup_menu.h"
#include "service/actions/transport_rows.h"
#include "service/client/commands.h"
#include "status/music_status.h"
#include "visualiser/effects/effect_catalogue.h"

#include "shmvar.h"
#include "zcommon.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kSeekStepSeconds = 5;
constexpr Uint32 kSeekDelayMs = 200;
// Frames (at 60 a second) during which the bar shows the target instead of the
// service's position, after a press and again after the seek went out.
constexpr int kSeekHoldFrames = 30;
constexpr int kVolumeStep = 10;

// The press counters of the live windows. A timer callback may already be running when
// its window removes the timer and goes away, so it stores through its parameter only
// while the counter is still registered here.
pthread_mutex_t sSeekCountLock = PTHREAD_MUTEX_INITIALIZER;
std::vector<int*> sLiveSeekCounts;

bool suspended() {
    return access(MP_SYSTEM_SUSPEND_FILE, F_OK) == 0;
}

int addPress(int* count) {
    pthread_mutex_lock(&sSeekCountLock);
    if (std::find(sLiveSeekCounts.begin(), sLiveSeekCounts.end(), count) == sLiveSeekCounts.end())
        sLiveSeekCounts.push_back(count);
    int presses = ++*count;
    pthread_mutex_unlock(&sSeekCountLock);
    return presses;
}

// Sends the pending target as "seek", keeps the bar on it a little longer while the
// service catches up, and clears the press count. Runs on SDL's timer thread.
void sendSeek(void* param) {
    const int target = sMusicPlayingStatus.seekTarget.load();
    tprintf("do seek set:%d\n", target);
    seek_cmd(target * 1000);
    sMusicPlayingStatus.seekHold.store(kSeekHoldFrames);
    pthread_mutex_lock(&sSeekCountLock);
    auto* count = static_cast<int*>(param);
    if (std::find(sLiveSeekCounts.begin(), sLiveSeekCounts.end(), count) != sLiveSeekCounts.end())
        *count = 0;
    pthread_mutex_unlock(&sSeekCountLock);
}

unsigned fastforward_callback(unsigned, void* param) {
    sendSeek(param);
    return 0;
}

unsigned fastbackward_callback(unsigned, void* param) {
    sendSeek(param);
    return 0;
}

} // namespace

void playWindowForgetSeekCounts(int* forward, int* backward) {
    pthread_mutex_lock(&sSeekCountLock);
    sLiveSeekCounts.erase(std::remove_if(sLiveSeekCounts.begin(), sLiveSeekCounts.end(),
                                         [=](int* count) { return count == forward || count == backward; }),
                          sLiveSeekCounts.end());
    pthread_mutex_unlock(&sSeekCountLock);
}

int seek_target_rel(int delta) {
    int duration = 0, position = 0;
    readMusicStatus([&](const MusicPlayingStatus& record) {
        duration = record.duration;
        position = record.position;
    });

    // Presses add up on the pending target, not on the position, which lags behind.
    const int pending = sMusicPlayingStatus.seekTarget.load();
    int target = (pending >= 0 ? pending : position) + delta;
    if (target > duration)
        target = duration;
    if (target < 0)
        target = 0;
    sMusicPlayingStatus.seekTarget.store(target);
    sMusicPlayingStatus.seekHold.store(kSeekHoldFrames);
    tprintf("seek target to %d seconds\n", target);
    return 0;
}

void MusicPlayWindow::seekPress(int delta) {
    const bool forward = delta > 0;
    int* count = forward ? &mForwardCount : &mBackwardCount;
    SDL_TimerID* timer = forward ? &mForwardTimer : &mBackwardTimer;
    const int presses = addPress(count);
    // Each press pushes the send out again: one seek for the whole run.
    if (*timer != 0)
        SDL_RemoveTimer(*timer);
    *timer = SDL_AddTimer(kSeekDelayMs, forward ? fastforward_callback : fastbackward_callback, count);
    seek_target_rel(forward ? kSeekStepSeconds : -kSeekStepSeconds);
    tprintf(forward ? "seek forward %d times\n" : "seek backward %d times\n", presses);
}

int MusicPlayWindow::leaveResult() const {
    // Over the library the screen closes and the music goes on; alone, the application
    // ends.
    if (gUIWindows.empty() || gUIWindows[0]->mKind != 0)
        return kWinResultQuit;
    return kWinResultClose;
}

void MusicPlayWindow::togglePlayback(const std::string& status) {
    if (isPlayingState(status)) {
        mPlaying = false;
        pause();
        runShell(MP_CMD_STAY_ALIVE_OFF);
    } else {
        mPlaying = true;
        noarg_cmd(kCmdResume);
        runShell(MP_CMD_STAY_ALIVE_ON);
    }
}

void MusicPlayWindow::nextPlayMode() {
    switch (getPlayMode()) {
    case PlayModeSequence:
        setPlayMode(PlayModeRandom);
        break;
    case PlayModeRandom:
        setPlayMode(PlayModeSingleCycle);
        break;
    case PlayModeSingleCycle:
        setPlayMode(PlayModeSequence);
        break;
    default:
        // The service did not answer: nothing to step from.
        break;
    }
}

void MusicPlayWindow::stepVolume(int delta) {
    // Steps of 10; a stored value between steps is first rounded down.
    int level = gMusicVolume / kVolumeStep;
    if (delta > 0 && level < 10)
        ++level;
    if (delta < 0 && level > 0)
        --level;
    gMusicVolume = level * kVolumeStep;
    sendVolumeSetting("playwindow");
    savePlayerConfig();
    char command[64];
    snprintf(command, sizeof(command), "./show_music_volume_msg.sh \"  %d%%\"& ", gMusicVolume);
    runShell(command);
}

int MusicPlayWindow::eventHandling() {
    const int key = wait_event(nullptr);
    std::string status;
    readMusicStatus([&](const MusicPlayingStatus& record) { status = record.status; });

    switch (key) {
    case kKeyPrimary:
    case kKeySecondary: {
        // Shared key 19 swaps the roles of confirm (toggle) and back (leave).
        const bool swapped = GetKeyShm(&gShmInfo, kShmKeySwapButtons) != 0;
        const bool toggles = (key == kKeyPrimary) != swapped;
        if (toggles) {
            togglePlayback(status);
            return 0;
        }
        if (suspended())
            return 0;
        return leaveResult();
    }
    case kKeyStart:
        togglePlayback(status);
        return 0;
    case kKeyX:
        nextPlayMode();
        return 0;
    case kKeyUp:
    case kKeyDown:
        if (!suspended())
            stepVolume(key == kKeyUp ? 1 : -1);
        return 0;
    case kKeyRight:
    case kKeyLeft:
        if (isPlayingState(status))
            seekPress(key == kKeyRight ? kSeekStepSeconds : -kSeekStepSeconds);
        return 0;
    case kKeySelect:
        // A second way back to the library, never out of the application.
        if (!suspended() && gUIWindows.size() >= 2 && gUIWindows[0]->mKind == 0)
            return kWinResultClose;
        return 0;
    case kKeyMenu:
        if (suspended())
            return 0;
        openPopupMenu(play_pause_player_in_playwindow, nullptr);
        return 0;
    case kKeyL:
        noarg_cmd(kCmdPrevious);
        mPosition = 0;
        mDuration = 0;
        return 0;
    case kKeyR:
        noarg_cmd(kCmdNext);
        mPosition = 0;
        mDuration = 0;
        return 0;
    case kKeyL2:
        stepVisEffect(-1);
        return 0;
    case kKeyR2:
        stepVisEffect(1);
        return 0;
    default:
        return 0;
    }
}
