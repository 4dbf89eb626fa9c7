// A headless screen (dummy video driver, software renderer) with the skin globals up.
#pragma once

#include "zinternal.h"

#include <SDL2/SDL_ttf.h>
#include <gtest/gtest.h>

#include <vector>

class ScreenTest : public testing::Test {
protected:
    void SetUp() override {
        setenv("SDL_VIDEODRIVER", "dummy", 0);
        ASSERT_EQ(SDL_Init(SDL_INIT_VIDEO | SDL_INIT_EVENTS | SDL_INIT_TIMER), 0);
        ASSERT_EQ(TTF_Init(), 0);
        ASSERT_NE(ScreenInit(1280, 720, 32, 0), 0) << SDL_GetError();
        gThemePath = const_cast<char*>(MP_TEST_SOURCE_DIR "/");
        init_shared_skin();
    }
    void TearDown() override {
        uninit_shared_skin();
        gThemePath = nullptr;
        ScreenUninit();
        TTF_Quit();
        SDL_Quit();
    }
    // ARGB pixels of the current render target.
    std::vector<Uint32> readPixels(int x, int y, int w, int h) {
        std::vector<Uint32> pixels(static_cast<size_t>(w) * h);
        SDL_Rect area = {x, y, w, h};
        SDL_RenderReadPixels(gZwRenderer, &area, SDL_PIXELFORMAT_ARGB8888, pixels.data(), w * 4);
        return pixels;
    }
    Uint32 pixel(int x, int y) { return readPixels(x, y, 1, 1)[0]; }
};
