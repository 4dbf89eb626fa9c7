// The request layer on its own: every kind of bad body is refused and logged without
// effect, and the four answers carry what the front end's readers look for.
#include "musicservice/playlist.h"
#include "musicservice/request.h"
#include "scratch_dir.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

namespace {

int request(const std::string& body, std::string* reply) {
    return handleRequest(body.data(), body.size(), reply);
}

int intMember(const std::string& text, const char* name) {
    cJSON* root = cJSON_Parse(text.c_str());
    int value = -100;
    const cJSON* item = root ? cJSON_GetObjectItem(root, name) : nullptr;
    if (cJSON_IsNumber(item))
        value = item->valueint;
    cJSON_Delete(root);
    return value;
}

class RequestTest : public testing::Test {
protected:
    void SetUp() override {
        playlistReset();
        playlistInit((mScratch.path() + "/data").c_str());
    }
    void TearDown() override { playlistReset(); }
    ScratchDir mScratch{"request"};
};

TEST_F(RequestTest, BadBodiesAreRefusedAndChangeNothing) {
    std::string reply = "left over";
    const char* bad[] = {
        "",                                   // empty
        "{\"cmd\":\"pause\"",                 // cut short
        "[\"cmd\",\"pause\"]",                // not an object
        "\"pause\"",                          // a bare string
        "{\"command\":\"pause\"}",            // no "cmd"
        "{\"cmd\":7}",                        // "cmd" not a string
        "{\"cmd\":\"dance\"}",                // unknown word
        "{\"cmd\":\"PAUSE\"}",                // words are exact
        "{\"cmd\":\"set_play_mode\"}",        // member missing
        "{\"cmd\":\"set_play_mode\",\"mode\":\"1\"}", // member of the wrong type
        "{\"cmd\":\"set_play_mode\",\"mode\":9}",     // outside the three modes
        "{\"cmd\":\"seek\",\"ms\":null}",
        "{\"cmd\":\"play_file_in_dir\",\"path\":42}",
        "{\"cmd\":\"set_play_dir\"}",
        "\xff\xfe garbage \x01",
    };
    for (const char* body : bad) {
        EXPECT_LT(request(body, &reply), 0) << body;
        EXPECT_TRUE(reply.empty()) << body;
    }
    EXPECT_EQ(playlistMode(), kModeSequence);
}

TEST_F(RequestTest, QueriesAnswerWithTheMembersTheFrontEndReads) {
    std::string reply;
    ASSERT_EQ(request("{\"cmd\":\"set_play_mode\",\"mode\":2}", &reply), 0);
    EXPECT_TRUE(reply.empty());
    ASSERT_EQ(request("{\"cmd\":\"get_play_mode\"}", &reply), 1);
    EXPECT_EQ(intMember(reply, "mode"), 2);
    ASSERT_EQ(request("{\n\t\"cmd\":\t\"get_current_list_type\"\n}", &reply), 1);
    EXPECT_EQ(intMember(reply, "listtype"), kListDir);

    std::string dir = mScratch.path() + "/music";
    makeDirs(dir);
    writeFile(dir + "/a.mp3", "x");
    writeFile(dir + "/b.flac", "x");
    ASSERT_EQ(request("{\"cmd\":\"set_play_dir\",\"path\":\"" + dir + "/\"}", &reply), 1);
    EXPECT_EQ(intMember(reply, "result"), 0);
    EXPECT_EQ(intMember(reply, "count"), 2);
    ASSERT_EQ(request("{\"cmd\":\"set_play_dir\",\"path\":\"/no/such/dir\"}", &reply), 1);
    EXPECT_EQ(intMember(reply, "result"), -1) << "a folder that cannot be read is still answered";

    writeFile(mScratch.path() + "/data/favorite.m3u", "/m/one.mp3\n/m/\"two\".flac\n");
    ASSERT_EQ(request("{\"cmd\":\"get_favorite_list\"}", &reply), 1);
    cJSON* root = cJSON_Parse(reply.c_str());
    ASSERT_NE(root, nullptr);
    cJSON* list = cJSON_GetObjectItem(root, "list");
    ASSERT_EQ(cJSON_GetArraySize(list), 2);
    EXPECT_STREQ(cJSON_GetObjectItem(cJSON_GetArrayItem(list, 1), "path")->valuestring, "/m/\"two\".flac");
    cJSON_Delete(root);
    remove((mScratch.path() + "/data/favorite.m3u").c_str());
    ASSERT_EQ(request("{\"cmd\":\"get_favorite_list\"}", &reply), 1);
    EXPECT_EQ(reply, "{\"list\":[]}");
}

} // namespace
