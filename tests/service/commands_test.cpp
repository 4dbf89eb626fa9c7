// Command wrappers: queries that read a number member, and the favourites walk.
#include "fake_service.h"
#include "service/commands.h"

#include <gtest/gtest.h>

namespace {

class CommandsTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(service.start()); }
    int playMode(const std::string& reply) {
        service.script("get_play_mode", Reply{ReplyKind::Json, reply});
        return getPlayMode();
    }
    void favourites(const std::string& reply) {
        service.script("get_favorite_list", Reply{ReplyKind::Json, reply});
        fetchFavoriteList();
    }
    FakeService service;
};

} // namespace

TEST_F(CommandsTest, QueriesReadTheirNumberMemberOrGiveMinusOne) {
    service.script("get_current_list_type", Reply{ReplyKind::Json, "{\"listtype\": 4}"});
    EXPECT_EQ(getCurrentListType(), 4);
    EXPECT_EQ(playMode("{\"mode\": 2, \"other\": \"x\"}"), 2);
    EXPECT_EQ(playMode("{\"mode\": \"2\"}"), -1);
    EXPECT_EQ(playMode("{\"listtype\": 1}"), -1);
    EXPECT_EQ(playMode("not json {"), -1);
}

TEST_F(CommandsTest, FavouritesKeepOrderAndSkipElementsWithoutAStringPath) {
    sFavoritePathList.clear();
    favourites(
        "{\"list\": [{\"path\": \"/a.mp3\"}, {\"name\": \"x\"}, {\"path\": 3}, 7, {\"path\": \"/b.flac\"}]}");
    EXPECT_EQ(sFavoritePathList, (std::vector<std::string>{"/a.mp3", "/b.flac"}));
    // A reply that is no JSON leaves the list alone; one without "list" empties it.
    favourites("{broken");
    EXPECT_EQ(sFavoritePathList.size(), 2u);
    favourites("{\"other\": []}");
    EXPECT_TRUE(sFavoritePathList.empty());
}
