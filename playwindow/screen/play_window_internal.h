// Helpers shared by the files of the now-playing window.
#pragma once

#include "zwindow.h"

#include <cstdlib>

constexpr int kScreenWidth = 1280;
constexpr int kScreenHeight = 720;

// Where the screen's pieces lie, with the visualiser on; without it, 80 lower.
constexpr int kCoverX = 80;
constexpr int kCoverY = 80;
constexpr int kCoverBox = 400;
constexpr int kControlsY = 361;
constexpr int kHintsY = 451;
constexpr int kTextX = 530;
constexpr int kTitleY = 142;
constexpr int kArtistY = 200;
constexpr int kProgressY = 274;
constexpr int kTimeY = 300;
constexpr int kTotalX = 1141;

// Runs a shell command for the markers and the volume message; its result is not
// looked at.
inline void runShell(const char* command) {
    if (system(command) != 0) {
    }
}

inline void release(ZelmorSurface*& surface) {
    delete surface;
    surface = nullptr;
}

// The source rectangle of the blurred cover: its centred part with the screen's 16:9
// proportions, integer divisions throughout.
SDL_Rect playWindowBlurCrop(int w, int h);

// Percentage of the progress bar: the pending seek target while the hold lasts, else
// the position. Counts the hold down by one frame and ends the seek when it runs out.
int playWindowPercentage(int position, int duration);

// Moves the pending seek target by delta seconds from the target or, when there is
// none, from the position; clamped to the track. Always 0.
int seek_target_rel(int delta);

// Stops the seek timer callbacks of a window that goes away from touching its counters.
void playWindowForgetSeekCounts(int* forward, int* backward);
