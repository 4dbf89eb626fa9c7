// The sample ring between the decode thread and the audio callback: discards that the
// consumer skips without the producer overwriting what it may still read. Order across
// the wrap with both threads running is checked sample for sample by the gapless test.
#include "musicservice/sample_ring.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// count stereo frames numbered from first: left n, right -n.
std::vector<int16_t> frames(int16_t first, int16_t count) {
    std::vector<int16_t> data;
    for (int16_t n = first; n < first + count; ++n)
        data.insert(data.end(), {n, static_cast<int16_t>(-n)});
    return data;
}

} // namespace

TEST(RingTest, DiscardedFramesStayReadableForAFadeUntilTheConsumerSkipsThem) {
    SampleRing ring;
    ASSERT_TRUE(ringInit(&ring, 1000) == 0 && ring.capacity == 1024u);
    std::vector<int16_t> old = frames(1, 1000), fresh = frames(5000, 24), out(2 * 1024);
    ASSERT_EQ(ringWrite(&ring, old.data(), 1000), 1000u);
    EXPECT_EQ(ringDiscard(&ring), 1000u);
    EXPECT_EQ(ringPlayPosition(&ring), 1000u) << "what is heard next is what follows the discard";
    EXPECT_EQ(ringFill(&ring), 0u);
    // The consumer may be copying the old frames right now, or fading out the first of
    // them: their slots are not free yet.
    EXPECT_EQ(ringSpace(&ring), 24u);
    ASSERT_EQ(ringWrite(&ring, fresh.data(), 24), 24u);
    out.resize(2 * ringReadBeforeCut(&ring, out.data(), 8));
    EXPECT_EQ(out, frames(1, 8)) << "the frames before the cut, not the new ones";
    out.resize(2 * 1024);
    out.resize(2 * ringRead(&ring, out.data(), 1024));
    EXPECT_EQ(out, fresh);
    EXPECT_EQ(ringSpace(&ring), 1024u);
    ringRelease(&ring);
}
