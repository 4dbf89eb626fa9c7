// The catalogue of effect folders: what enters it and in which order, the index brought
// into range, stepping around, kinds by name, and an empty catalogue that must never
// lead outside the table.
#include "scratch_dir.h"
#include "visualiser/effect_catalogue.h"

#include <gtest/gtest.h>

#include <dirent.h>

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
        printed = testing::internal::GetCapturedStdout();
        return {n, s_curEffectIndex};
    }
    void make(const std::vector<std::string>& names) {
        for (const std::string& name : names)
            makeDirs(dir.path() + "/" + name);
    }
    ScratchDir dir{"effects"};
    std::string printed;
};

} // namespace

TEST_F(Catalogue, FoldersOnlyInReaddirOrderAndAtMostSixtyFour) {
    make({"fft1", "wave2", "bars", ".hidden"});
    writeFile(dir.path() + "/fft_plain_file", "x");
    std::string expected;
    DIR* folder = opendir(dir.path().c_str());
    while (dirent* entry = readdir(folder))
        if (entry->d_name[0] != '.' && entry->d_type == DT_DIR)
            expected += std::string("list add:") + entry->d_name + "\n";
    closedir(folder);
    ASSERT_EQ(scan(0), (std::vector<int>{3, 0}));
    EXPECT_EQ(printed, expected);
    EXPECT_EQ(expected, "list add:" + std::string(s_visEffects[0]) + "\nlist add:" + s_visEffects[1] +
                            "\nlist add:" + s_visEffects[2] + "\n");
    EXPECT_EQ(s_visEffects[3][0], '\0');
    EXPECT_EQ(s_curVis, s_visEffects[0]);
    for (int i = 0; i < 70; ++i)
        make({"fx" + std::to_string(i)});
    EXPECT_EQ(scan(100), (std::vector<int>{64, 63}));
}

TEST_F(Catalogue, IndexComesIntoRangeStepsWrapAndKindsGoByName) {
    make({"a", "b", "c"});
    EXPECT_EQ(scan(7)[1], 2);
    EXPECT_EQ(scan(-1)[1], 0);
    // {step, index after}
    for (auto [delta, index] : {std::pair{1, 1}, {1, 2}, {1, 0}, {-1, 2}}) {
        stepVisEffect(delta);
        EXPECT_EQ(s_curEffectIndex, index);
        EXPECT_EQ(s_curVis, s_visEffects[index]);
    }
    EXPECT_EQ(s_triggerVisLoad, 1);
    const std::pair<const char*, int> kinds[] = {{"FFT_neon", kVisTypeSpectrum}, {"fft1", kVisTypeSpectrum},
                                                 {"Waveform", kVisTypeWave},     {"bars", kVisTypeNone},
                                                 {"ff", kVisTypeNone},           {nullptr, kVisTypeNone}};
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
    make({"wave1"});
    scan(0);
    removeTree(dir.path() + "/wave1");
    scan(0);
    stepVisEffect(1);
    stepVisEffect(-1);
    EXPECT_TRUE(s_curVis >= &s_visEffects[0][0] && s_curVis < &s_visEffects[0][0] + sizeof(s_visEffects));
    EXPECT_EQ(visTypeOf(s_curVis), kVisTypeNone);
    EXPECT_EQ(scanVisEffects("/nonexistent/effects"), 0);
}
