// Cursor movement, paging and restoring a position on short and long lists.
#include "menu_glue.h"

#include <gtest/gtest.h>

namespace {

TextMenu* listOf(int rows, int visible) {
    // No row images: the second may be null, and so may the first.
    auto* menu = new TextMenu(nullptr, nullptr, visible, 0);
    for (int i = 0; i < rows; ++i)
        menu->insertItem(new TextMenuItem(("row " + std::to_string(i)).c_str(), nullptr, nullptr, true));
    return menu;
}

struct View {
    int selected, first, last;
};

View view(ListMenu* menu) {
    return {menu->mSelected, menu->mFirstVisible, menu->mLastVisible};
}

bool operator==(const View& a, const View& b) {
    return a.selected == b.selected && a.first == b.first && a.last == b.last;
}

std::ostream& operator<<(std::ostream& out, const View& v) {
    return out << "{" << v.selected << ", " << v.first << ", " << v.last << "}";
}

} // namespace

TEST(ListCursor, MovesWrapAndKeepTheCursorInView) {
    std::unique_ptr<TextMenu> menu(listOf(20, 6));
    EXPECT_EQ(view(menu.get()), (View{0, 0, 5}));
    menu->moveBackward();
    EXPECT_EQ(view(menu.get()), (View{19, 14, 19})) << "up from the first row wraps to the last";
    menu->moveForward();
    EXPECT_EQ(view(menu.get()), (View{0, 0, 5}));
    for (int i = 0; i < 6; ++i)
        menu->moveForward();
    EXPECT_EQ(view(menu.get()), (View{6, 1, 6})) << "the page follows the cursor one row at a time";
}

TEST(ListCursor, PagingStopsAtTheEnds) {
    std::unique_ptr<TextMenu> menu(listOf(20, 6));
    menu->pageDown();
    EXPECT_EQ(view(menu.get()), (View{6, 6, 11}));
    menu->pageDown();
    menu->pageDown();
    EXPECT_EQ(view(menu.get()), (View{18, 14, 19}));
    menu->pageDown();
    EXPECT_EQ(view(menu.get()), (View{19, 14, 19}));
    menu->pageUp();
    EXPECT_EQ(view(menu.get()), (View{13, 8, 13}));
    for (int i = 0; i < 4; ++i)
        menu->pageUp();
    EXPECT_EQ(view(menu.get()), (View{0, 0, 5}));

    std::unique_ptr<TextMenu> empty(listOf(0, 6));
    empty->pageDown();
    empty->moveForward();
    EXPECT_EQ(view(empty.get()), (View{0, 0, -1}));
}

TEST(ListCursor, RestorePositionCopesWithEveryEnd) {
    std::unique_ptr<TextMenu> menu(listOf(20, 6));
    menu->restorePos(19, 16, 21); // a last row beyond the end keeps the page full
    EXPECT_EQ(view(menu.get()), (View{19, 14, 19}));
    menu->restorePos(10, 7, 12);
    EXPECT_EQ(view(menu.get()), (View{10, 7, 12}));
    menu->restorePos(1, 0, 5);
    EXPECT_EQ(view(menu.get()), (View{1, 0, 5}));
    menu->restorePos(8, 3, 8);
    EXPECT_EQ(view(menu.get()), (View{8, 3, 8}));
    menu->restorePos(50, 0, 5);
    EXPECT_EQ(view(menu.get()), (View{19, 14, 19})) << "a row beyond the end takes the last";

    std::unique_ptr<TextMenu> shortList(listOf(3, 6));
    shortList->restorePos(2, 0, 2);
    EXPECT_EQ(view(shortList.get()), (View{2, 0, 2})) << "fewer rows than fit: all shown";
    std::unique_ptr<TextMenu> four(listOf(4, 6));
    four->restorePos(1, 1, 3);
    EXPECT_EQ(view(four.get()), (View{1, 0, 3}));
}

TEST(ListCursor, RowTextsAndActions) {
    int calls = 0;
    static int* sCalls = &calls;
    auto* action =
        new GeneralAction([](void* arg) { return ++*sCalls + *static_cast<int*>(arg); }, new int(40));
    TextMenuItem row("Label", nullptr, action, true);
    EXPECT_EQ(row.getLabel(), "Label");
    EXPECT_EQ(row.getAction()->dowork(nullptr), 41);
    EXPECT_EQ(row.getAction()->dowork2(nullptr), 0);
    EXPECT_EQ(row.getAction()->showdetail(nullptr, 0), -1);
    EXPECT_EQ(row.getAction()->mId, -1);
    delete static_cast<int*>(action->mArg);
}

TEST(ListCursor, ARowDeletesItsActionOnlyWhenItOwnsIt) {
    struct Tracked : Action {
        explicit Tracked(bool* flag) : gone(flag) {}
        ~Tracked() override { *gone = true; }
        bool* gone;
    };
    bool ownedGone = false, borrowedGone = false;
    Tracked borrowed(&borrowedGone);
    {
        TextMenuItem owning("a", nullptr, new Tracked(&ownedGone), true);
        TextMenuItem borrowing("b", nullptr, &borrowed, false);
    }
    EXPECT_TRUE(ownedGone);
    EXPECT_FALSE(borrowedGone);
}
