// A headless screen (dummy video driver, software renderer) with the skin globals up.
#pragma once

#include "screenshot.h"
#include "zinternal.h"

#include <SDL2/SDL_ttf.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

class ScreenTest : public testing::Test {
protected:
    void SetUp() override {
        setenv("SDL_VIDEODRIVER", "dummy", 0);
        ASSERT_EQ(SDL_Init(SDL_INIT_VIDEO | SDL_INIT_EVENTS | SDL_INIT_TIMER), 0);
        ASSERT_EQ(TTF_Init(), 0);
        ASSERT_NE(ScreenInit(1280, 720, 32, 0), 0) << SDL_GetError();
        useTheme(MP_TEST_SOURCE_DIR);
    }
    void TearDown() override {
        uninit_shared_skin();
        gThemePath = nullptr;
        ScreenUninit();
        TTF_Quit();
        SDL_Quit();
    }
    // Skin images come from dir; the shared skin is loaded anew.
    void useTheme(const std::string& dir) {
        uninit_shared_skin();
        mTheme = dir + "/";
        gThemePath = const_cast<char*>(mTheme.c_str());
        init_shared_skin();
    }
    static Uint32 pixel(int x, int y) { return readTargetPixels(x, y, 1, 1)[0]; }
    std::string mTheme;
};

// Draws a stack as the loop does, on a cleared screen: the top window, over the
// screens under it while it floats; then compares the screen with its reference, the
// status bar's clock left out.
inline void expectScreen(const std::vector<ZelmorWindow*>& windows, const char* name) {
    SDL_SetRenderTarget(gZwRenderer, nullptr);
    SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
    SDL_RenderClear(gZwRenderer);
    size_t base = windows.size() - 1;
    while (base > 0 && windows[base]->isFloating())
        --base;
    for (size_t i = base; i < windows.size(); ++i)
        windows[i]->draw();
    EXPECT_EQ(matchesReference(name, {kClockArea}), "") << name;
}
