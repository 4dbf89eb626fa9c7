#include "screen_fixture.h"

#include <SDL2/SDL_ttf.h>

void ScreenTest::SetUp() {
    setenv("SDL_VIDEODRIVER", "dummy", 0);
    ASSERT_EQ(SDL_Init(SDL_INIT_VIDEO | SDL_INIT_EVENTS | SDL_INIT_TIMER), 0);
    ASSERT_EQ(TTF_Init(), 0);
    ASSERT_NE(ScreenInit(1280, 720, 32, 0), 0) << SDL_GetError();
    useTheme(MP_TEST_SOURCE_DIR);
}

void ScreenTest::TearDown() {
    uninit_shared_skin();
    gThemePath = nullptr;
    ScreenUninit();
    TTF_Quit();
    SDL_Quit();
}

void ScreenTest::useTheme(const std::string& dir) {
    uninit_shared_skin();
    mTheme = dir + "/";
    gThemePath = const_cast<char*>(mTheme.c_str());
    init_shared_skin();
}

void expectScreen(const std::vector<ZelmorWindow*>& windows, const char* name) {
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

std::vector<std::string> rowLabels(TextMenuDrawer& menu) {
    std::vector<std::string> labels;
    for (int i = 0; i < menu.getListNum(); ++i)
        labels.push_back(menu.getItemByIndex(i)->getLabel());
    return labels;
}
