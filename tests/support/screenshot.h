// Screenshots of what a test has drawn: saved under <build>/gallery/ for people to look
// at, and compared with a committed reference image under tests/reference/ within a
// small tolerance, so that a screen that changes by accident fails its test.
#pragma once

#include <SDL2/SDL.h>

#include <memory>
#include <string>
#include <vector>

using SurfacePtr = std::unique_ptr<SDL_Surface, decltype(&SDL_FreeSurface)>;

// An image file (any format SDL_image reads) as ARGB8888 pixels; null when it cannot be
// read.
SurfacePtr loadArgb(const std::string& path);

// Reads the current render target's pixels (ARGB8888), w x h from the top left.
std::vector<Uint32> readTargetPixels(int x, int y, int w, int h);

// The largest difference of two ARGB pixels in one channel.
int channelDistance(Uint32 a, Uint32 b);

// Saves the whole 1280x720 screen as <build>/gallery/<name>.png; false on failure.
bool saveScreenshot(const std::string& name);

// Saves the screenshot and compares it with tests/reference/<name>.png. The result is
// empty when they match: at most 0.5% of the pixels differ by more than 48 in a channel,
// areas in ignore (for example the status bar's clock) not counted. Otherwise it says
// what differs. With the environment variable MP_UPDATE_REFERENCES=1 the reference is
// written from the screenshot instead (review it before committing it).
std::string matchesReference(const std::string& name, const std::vector<SDL_Rect>& ignore = {});

// The status bar's clock, which shows the time of the run.
constexpr SDL_Rect kClockArea = {1090, 640, 190, 80};
