// A headless screen (dummy video driver, software renderer) with the skin globals up.
#pragma once

#include "screenshot.h"
#include "zinternal.h"
#include "zmenu.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

constexpr Uint32 kRed = 0xffff0000, kGreen = 0xff00ff00, kBlue = 0xff0000ff, kWhite = 0xffffffff;
constexpr Uint32 kGrey = 0xff808080, kMagenta = 0xffff00ff, kYellow = 0xffffff00;

class ScreenTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Skin images come from dir; the shared skin is loaded anew.
    void useTheme(const std::string& dir);
    static Uint32 pixel(int x, int y) { return readTargetPixels(x, y, 1, 1)[0]; }
    std::string mTheme;
};

// Draws a stack as the loop does, on a cleared screen: the top window, over the
// screens under it while it floats; then compares the screen with its reference, the
// status bar's clock left out.
void expectScreen(const std::vector<ZelmorWindow*>& windows, const char* name);

// The labels of a list's rows, in order.
std::vector<std::string> rowLabels(TextMenuDrawer& menu);
