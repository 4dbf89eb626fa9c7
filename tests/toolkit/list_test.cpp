// Cursor movement and paging on a long and an empty list; restoring a position on lists
// shorter than a page.
#include "menu_glue.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

std::unique_ptr<TextMenu> listOf(int rows) {
    // No row images: the second may be null, and so may the first.
    auto menu = std::make_unique<TextMenu>(nullptr, nullptr, 6, 0);
    for (int i = 0; i < rows; ++i)
        menu->insertItem(new TextMenuItem(("row " + std::to_string(i)).c_str(), nullptr, nullptr, true));
    return menu;
}

std::vector<int> view(const TextMenu& menu) {
    return {menu.mSelected, menu.mFirstVisible, menu.mLastVisible};
}

} // namespace

TEST(ListCursor, MovesWrapPagesStopAtTheEndsAndPositionsAreRestored) {
    std::unique_ptr<TextMenu> menu = listOf(20);
    const std::function<void()> up = [&] { menu->moveBackward(); }, down = [&] { menu->moveForward(); },
                                pageUp = [&] { menu->pageUp(); }, pageDown = [&] { menu->pageDown(); };
    // {move, times, view after}
    const struct {
        std::function<void()> move;
        int times;
        std::vector<int> after;
    } steps[] = {{up, 1, {19, 14, 19}},                             // up from the first row wraps to the last
                 {down, 1, {0, 0, 5}},        {down, 6, {6, 1, 6}}, // the page follows one row at a time
                 {pageUp, 1, {0, 0, 5}},      {pageDown, 1, {6, 6, 11}}, {pageDown, 2, {18, 14, 19}},
                 {pageDown, 1, {19, 14, 19}}, {pageUp, 1, {13, 8, 13}},  {pageUp, 4, {0, 0, 5}}};
    for (const auto& s : steps) {
        for (int i = 0; i < s.times; ++i)
            s.move();
        EXPECT_EQ(view(*menu), s.after) << "step to " << s.after[0];
    }
    menu->restorePos(50, 0, 5);
    EXPECT_EQ(view(*menu), (std::vector<int>{19, 14, 19})) << "a row beyond the end takes the last";
    std::unique_ptr<TextMenu> empty = listOf(0), four = listOf(4);
    empty->pageDown();
    empty->moveForward();
    EXPECT_EQ(view(*empty), (std::vector<int>{0, 0, -1}));
    four->restorePos(1, 1, 3);
    EXPECT_EQ(view(*four), (std::vector<int>{1, 0, 3})) << "fewer rows than fit: all shown";
}
