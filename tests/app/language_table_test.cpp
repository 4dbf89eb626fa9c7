#include <gtest/gtest.h>

#include "app/globals.h"
#include "app/language_table.h"

TEST(Language, ProgramTextsFollowTheToolkitsAndTranslationsReplaceThem) {
    gDefaultStringList.resize(8);
    appendDefaultStrings();
    ASSERT_EQ(gDefaultStringList.size(), 33u);
    InitKeyShm(&gShmInfo);
    auto useLanguage = [](int language) {
        SetKeyShm(&gShmInfo, kShmKeyLanguage, language);
        loadSystemState(&gShmInfo, nullptr);
        initLang();
    };
    useLanguage(0);
    EXPECT_STREQ(getLangStr(32), "Stop And Quit Player");
    EXPECT_STREQ(getLangStr(3), "Quitting...");
    EXPECT_STREQ(getLangStr(99), "");
    useLanguage(1);
    EXPECT_STREQ(getLangStr(8), "\xE9\x9F\xB3\xE4\xB9\x90");
    useLanguage(0);
    EXPECT_STREQ(getLangStr(8), "Music");
    gDefaultStringList.resize(8);
}
