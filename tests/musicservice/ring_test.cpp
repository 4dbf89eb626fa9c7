// The sample ring between the decode thread and the audio callback: discards that the
// consumer skips without the producer overwriting what it may still read. Order across
// the wrap with both threads running is checked sample for sample by the gapless test.
#include "musicservice/sample_ring.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// count stereo frames numbered from first (wrapping at 30000): left n, right -n.
std::vector<int16_t> frames(int first, uint32_t count) {
    std::vector<int16_t> data;
    for (uint32_t i = 0; i < count; ++i) {
        int value = (first + static_cast<int>(i)) % 30000;
        data.push_back(static_cast<int16_t>(value));
        data.push_back(static_cast<int16_t>(-value));
    }
    return data;
}

class RingTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(ringInit(&mRing, 1000), 0); }
    void TearDown() override { ringRelease(&mRing); }
    SampleRing mRing;
};

} // namespace

TEST_F(RingTest, DiscardedFramesAreSkippedButTheirSlotsStayUntilTheConsumerMoves) {
    ASSERT_EQ(mRing.capacity, 1024u);
    std::vector<int16_t> old = frames(1, 1000), fresh = frames(5000, 24), out(2 * 1024);
    ASSERT_EQ(ringWrite(&mRing, old.data(), 1000), 1000u);
    EXPECT_EQ(ringDiscard(&mRing), 1000u);
    EXPECT_EQ(ringPlayPosition(&mRing), 1000u) << "what is heard next is what follows the discard";
    EXPECT_EQ(ringFill(&mRing), 0u);
    // The consumer may be copying the old frames right now: their slots are not free yet.
    EXPECT_EQ(ringSpace(&mRing), 24u);
    ASSERT_EQ(ringWrite(&mRing, fresh.data(), 24), 24u);
    out.resize(2 * ringRead(&mRing, out.data(), 1024));
    EXPECT_EQ(out, fresh);
    EXPECT_EQ(ringSpace(&mRing), 1024u);
}
