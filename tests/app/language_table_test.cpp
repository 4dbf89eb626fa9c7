#include <gtest/gtest.h>

#include "app/globals.h"
#include "app/language_table.h"

TEST(Language, ProgramTextsFollowTheToolkitsAndTranslationsReplaceThem) {
    gDefaultStringList.resize(8);
    appendDefaultStrings();
    ASSERT_EQ(gDefaultStringList.size(), 33u);
    InitKeyShm(&gShmInfo);
    SetKeyShm(&gShmInfo, kShmKeyLanguage, 0);
    loadSystemState(&gShmInfo, nullptr);
    initLang();
    EXPECT_STREQ(getLangStr(32), "Stop And Quit Player");
    EXPECT_STREQ(getLangStr(3), "Quitting...");
    EXPECT_STREQ(getLangStr(99), "");
    SetKeyShm(&gShmInfo, kShmKeyLanguage, 1);
    loadSystemState(&gShmInfo, nullptr);
    initLang();
    EXPECT_STREQ(getLangStr(8), "\xE9\x9F\xB3\xE4\xB9\x90");
    SetKeyShm(&gShmInfo, kShmKeyLanguage, 0);
    loadSystemState(&gShmInfo, nullptr);
    initLang();
    EXPECT_STREQ(getLangStr(8), "Music");
    gDefaultStringList.resize(8);
}
