// The catalogue of effect folders: what enters it and in which order, the index brought
// into range, stepping around, kinds by name, and an empty catalogue that must never
// lead outside the table.
#include "scratch_dir.h"
#include "visualiser/effect_catalogue.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <string>
#include <vector>

namespace {

class Catalogue : public testing::Test {
protected:
    void SetUp() override {
        s_curEffectIndex = 0;
        s_curVis = "fft1";
        s_triggerVisLoad = 0;
    }
    int scan(int index) {
        s_curEffectIndex = index;
        testing::internal::CaptureStdout();
        int n = scanVisEffects(dir.path().c_str());
        mPrinted = testing::internal::GetCapturedStdout();
        return n;
    }
    bool inTable(const char* name) {
        auto* first = &s_visEffects[0][0];
        return name >= first && name < first + sizeof(s_visEffects);
    }
    ScratchDir dir{"effects"};
    std::string mPrinted;
};

} // namespace

TEST_F(Catalogue, FoldersOnlyInReaddirOrder) {
    for (const char* name : {"fft1", "wave2", "bars", ".hidden"})
        makeDirs(dir.path() + "/" + name);
    writeFile(dir.path() + "/fft_plain_file", "x");
    std::vector<std::string> expected;
    DIR* folder = opendir(dir.path().c_str());
    while (dirent* entry = readdir(folder))
        if (entry->d_name[0] != '.' && entry->d_type == DT_DIR)
            expected.push_back(entry->d_name);
    closedir(folder);

    ASSERT_EQ(scan(0), 3);
    std::string printed;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(expected[i], s_visEffects[i]);
        printed += "list add:" + expected[i] + "\n";
    }
    EXPECT_EQ(mPrinted, printed);
    EXPECT_EQ(s_visEffects[3][0], '\0');
    EXPECT_EQ(s_curVis, s_visEffects[0]);
}

TEST_F(Catalogue, IndexComesIntoRangeAndStepsWrap) {
    for (const char* name : {"a", "b", "c"})
        makeDirs(dir.path() + "/" + name);
    scan(7);
    EXPECT_EQ(s_curEffectIndex, 2);
    scan(-1);
    EXPECT_EQ(s_curEffectIndex, 0);
    scan(2);
    EXPECT_EQ(s_curEffectIndex, 2);
    EXPECT_EQ(s_curVis, s_visEffects[2]);

    stepVisEffect(1);
    EXPECT_EQ(s_curEffectIndex, 0);
    EXPECT_EQ(s_curVis, s_visEffects[0]);
    EXPECT_EQ(s_triggerVisLoad, 1);
    stepVisEffect(-1);
    EXPECT_EQ(s_curEffectIndex, 2);
    EXPECT_EQ(s_curVis, s_visEffects[2]);
}

TEST_F(Catalogue, KindsByNameIgnoreCase) {
    EXPECT_EQ(visTypeOf("FFT_neon"), kVisTypeSpectrum);
    EXPECT_EQ(visTypeOf("fft1"), kVisTypeSpectrum);
    EXPECT_EQ(visTypeOf("Waveform"), kVisTypeWave);
    EXPECT_EQ(visTypeOf("bars"), kVisTypeNone);
    EXPECT_EQ(visTypeOf("ff"), kVisTypeNone);
    EXPECT_EQ(visTypeOf(nullptr), kVisTypeNone);
}

TEST_F(Catalogue, EmptyCatalogueNeverLeavesTheTable) {
    EXPECT_EQ(scan(0), 0);
    EXPECT_EQ(s_curEffectIndex, -1);
    EXPECT_STREQ(s_curVis, "fft1") << "the earlier name stands";
    for (int delta : {1, 1, -1, -1, -1}) {
        stepVisEffect(delta);
        EXPECT_STREQ(s_curVis, "fft1");
    }
    // A name that pointed into the table stays within it when the folders go away.
    makeDirs(dir.path() + "/wave1");
    scan(0);
    EXPECT_EQ(s_curVis, s_visEffects[0]);
    removeTree(dir.path() + "/wave1");
    scan(0);
    EXPECT_TRUE(inTable(s_curVis));
    stepVisEffect(1);
    stepVisEffect(-1);
    EXPECT_TRUE(inTable(s_curVis));
    EXPECT_EQ(visTypeOf(s_curVis), kVisTypeNone) << "the cleared entry is of no kind";

    EXPECT_EQ(scanVisEffects("/nonexistent/effects"), 0);
}

TEST_F(Catalogue, KeepsAtMostSixtyFourFolders) {
    for (int i = 0; i < 70; ++i)
        makeDirs(dir.path() + "/fx" + std::to_string(i));
    EXPECT_EQ(scan(100), 64);
    EXPECT_EQ(s_curEffectIndex, 63);
}
