// The catalogue of effect folders: what enters it and in which order, the index brought
// into range, stepping around, kinds by name, and an empty catalogue that must never
// lead outside the table.
#include "scratch_dir.h"
#include "visualiser/effects/effect_catalogue.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

class Catalogue : public testing::Test {
protected:
    void SetUp() override {
        s_curVis = "fft1";
        s_triggerVisLoad = 0;
    }
    // Scans the folder with the index at first: the count, and the index after.
    std::vector<int> scan(int index) {
        s_curEffectIndex = index;
        testing::internal::CaptureStdout();
        int n = scanVisEffects(dir.path().c_str());
        testing::internal::GetCapturedStdout();
        return {n, s_curEffectIndex};
    }
    ScratchDir dir{"effects"};
};

} // namespace

TEST_F(Catalogue, FoldersOnlyInReaddirOrderAndAtMostSixtyFour) {
    makeEntries(dir.path(), {"fft1/", "wave2/", "bars/", ".hidden/", "fft_plain_file"});
    // In readdir's order, and the entry behind them empty.
    std::vector<std::string> expected;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        if (entry.is_directory() && entry.path().filename().string()[0] != '.')
            expected.push_back(entry.path().filename());
    expected.push_back("");
    ASSERT_EQ(scan(0), (std::vector<int>{3, 0}));
    EXPECT_EQ(std::vector<std::string>(s_visEffects, s_visEffects + 4), expected);
    EXPECT_EQ(s_curVis, s_visEffects[0]);
    for (int i = 0; i < 70; ++i)
        makeDirs(dir.path() + "/fx" + std::to_string(i));
    EXPECT_EQ(scan(100), (std::vector<int>{64, 63}));
}

TEST_F(Catalogue, IndexComesIntoRangeStepsWrapAndKindsGoByName) {
    makeEntries(dir.path(), {"a/", "b/", "c/"});
    EXPECT_EQ(scan(7)[1], 2);
    EXPECT_EQ(scan(-1)[1], 0);
    // {step, index after}
    for (auto [delta, index] : {std::pair{1, 1}, {1, 2}, {1, 0}, {-1, 2}}) {
        stepVisEffect(delta);
        EXPECT_EQ(s_curEffectIndex, index);
        EXPECT_EQ(s_curVis, s_visEffects[index]);
    }
    EXPECT_EQ(s_triggerVisLoad, 1);
    const std::pair<const char*, int> kinds[] = {{"FFT_neon", kVisTypeSpectrum},
                                                 {"Waveform", kVisTypeWave},
                                                 {"ff", kVisTypeNone},
                                                 {nullptr, kVisTypeNone}};
    for (auto [name, kind] : kinds)
        EXPECT_EQ(visTypeOf(name), kind) << (name ? name : "null");
}

TEST_F(Catalogue, EmptyCatalogueNeverLeavesTheTable) {
    EXPECT_EQ(scan(0), (std::vector<int>{0, -1}));
    for (int delta : {1, 1, -1, -1, -1}) {
        stepVisEffect(delta);
        EXPECT_STREQ(s_curVis, "fft1") << "the earlier name stands";
    }
    // A name that pointed into the table stays within it when the folders go away, and
    // the cleared entry is of no kind.
    makeDirs(dir.path() + "/wave1");
    scan(0);
    removeTree(dir.path() + "/wave1");
    scan(0);
    stepVisEffect(1);
    stepVisEffect(-1);
    EXPECT_TRUE(s_curVis >= &s_visEffects[0][0] && s_curVis < &s_visEffects[0][0] + sizeof(s_visEffects));
    EXPECT_EQ(visTypeOf(s_curVis), kVisTypeNone);
    EXPECT_EQ(scanVisEffects("/nonexistent/effects"), 0);
}
