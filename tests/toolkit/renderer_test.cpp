// The renderer that the screen gets where GLES2 exists (Mesa's offscreen driver): SDL's
// software renderer when that GLES2 is rasterised on the CPU, GLES2 when a GPU draws it,
// and whatever SDL_RENDER_DRIVER names in either case.
#include "zinternal.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Opens the screen as the program does: its renderer's name, and whether it is GL that
// the CPU rasterises.
std::string openScreen(bool* cpuGl) {
    EXPECT_EQ(SDL_Init(SDL_INIT_VIDEO), 0);
    EXPECT_NE(ScreenInit(1280, 720, 32, 0), 0) << SDL_GetError();
    SDL_RendererInfo info;
    std::string name = gZwRenderer && SDL_GetRendererInfo(gZwRenderer, &info) == 0 ? info.name : "";
    *cpuGl = zwGlDrawsOnCpu(gZwRenderer);
    ScreenUninit();
    SDL_Quit();
    return name;
}

} // namespace

TEST(RendererChoice, GlesRasterisedOnTheCpuGivesWayUnlessNamed) {
    const char* video = getenv("SDL_VIDEODRIVER");
    if (!video || strcmp(video, "offscreen") != 0)
        GTEST_SKIP() << "needs a video driver with GLES2";
    bool cpuGl = false, unused = false;
    setenv("SDL_RENDER_DRIVER", "opengles2", 1);
    ASSERT_EQ(openScreen(&cpuGl), "opengles2") << "the named renderer wins";
    unsetenv("SDL_RENDER_DRIVER");
    EXPECT_EQ(openScreen(&unused), cpuGl ? "software" : "opengles2")
        << (cpuGl ? "GLES2 on the CPU" : "GLES2 on a GPU");
}
