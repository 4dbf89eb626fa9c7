// Command wrappers: queries that read a number member, separate connections per
// command, and the favourites walk.
#include "fake_service.h"
#include "service/commands.h"

#include <gtest/gtest.h>

namespace {

class CommandsTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(service.start());
        sFavoritePathList.clear();
    }
    FakeService service;
};

} // namespace

TEST_F(CommandsTest, QueriesReadTheirNumberMemberOrGiveMinusOne) {
    service.script("get_play_mode", Reply{ReplyKind::Json, "{\"mode\": 2, \"other\": \"x\"}"});
    service.script("get_current_list_type", Reply{ReplyKind::Json, "{\"listtype\": 4}"});
    EXPECT_EQ(getPlayMode(), 2);
    EXPECT_EQ(getCurrentListType(), 4);

    service.script("get_play_mode", Reply{ReplyKind::Json, "{\"mode\": \"2\"}"});
    EXPECT_EQ(getPlayMode(), -1);
    service.script("get_play_mode", Reply{ReplyKind::Json, "{\"listtype\": 1}"});
    EXPECT_EQ(getPlayMode(), -1);
    service.script("get_play_mode", Reply{ReplyKind::Json, "not json {"});
    EXPECT_EQ(getPlayMode(), -1);
    service.script("get_current_list_type", Reply{ReplyKind::Json, "{\"listtype\": 17}"});
    EXPECT_EQ(getCurrentListType(), 17);
}

TEST_F(CommandsTest, EveryCommandUsesItsOwnConnection) {
    EXPECT_GT(noarg_cmd("next"), 0);
    EXPECT_GT(setvolume(30), 0);
    EXPECT_GT(setPlayMode(PlayModeSingleCycle), 0);
    ASSERT_TRUE(service.waitForFrames(3, 2000));
    auto frames = service.frames();
    EXPECT_EQ(frames[0].connection, 1);
    EXPECT_EQ(frames[1].connection, 2);
    EXPECT_EQ(frames[2].connection, 3);
    EXPECT_EQ(frames[1].body, "{\n\t\"cmd\":\t\"set_volume\",\n\t\"volume\":\t30\n}");
    EXPECT_EQ(frames[2].body, "{\n\t\"cmd\":\t\"set_play_mode\",\n\t\"mode\":\t2\n}");
}

TEST_F(CommandsTest, FavouritesKeepOrderAndSkipElementsWithoutAStringPath) {
    service.script("get_favorite_list",
                   Reply{ReplyKind::Json,
                         "{\"list\": [{\"path\": \"/a.mp3\"}, {\"name\": \"x\"}, {\"path\": 3}, "
                         "7, {\"path\": \"/b.flac\"}, {\"path\": \"/c.ape\"}]}"});
    fetchFavoriteList();
    EXPECT_EQ(sFavoritePathList, (std::vector<std::string>{"/a.mp3", "/b.flac", "/c.ape"}));

    // A reply that is no JSON leaves the list alone; one without "list" empties it.
    service.script("get_favorite_list", Reply{ReplyKind::Json, "{broken"});
    fetchFavoriteList();
    EXPECT_EQ(sFavoritePathList.size(), 3u);
    service.script("get_favorite_list", Reply{ReplyKind::Json, "{\"other\": []}"});
    fetchFavoriteList();
    EXPECT_TRUE(sFavoritePathList.empty());
}
