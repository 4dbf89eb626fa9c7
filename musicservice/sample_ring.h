// A ring of interleaved stereo 16-bit frames between one producer and one consumer,
// without locks, so that the audio callback can read it in real time. Positions count
// frames since the start and never wrap; the slot of a position is position mod capacity.
//
// The producer can drop everything it has written so far (a seek, a new track) without
// touching the consumer's position: it publishes a discard mark, and the consumer skips
// to it on its next read. Slots the consumer may still be reading are not reused before
// it has moved on.
#pragma once

#include <atomic>
#include <cstdint>

struct SampleRing {
    int16_t* data = nullptr;
    uint32_t capacity = 0; // frames, a power of two
    std::atomic<uint64_t> written{0};
    std::atomic<uint64_t> read{0};
    std::atomic<uint64_t> discardTo{0};
};

// Allocates at least capacityFrames frames (rounded up to a power of two): 0 or -1.
int ringInit(SampleRing* ring, uint32_t capacityFrames);
void ringRelease(SampleRing* ring);

// Producer side.
uint32_t ringSpace(const SampleRing* ring);
// Copies up to count frames in; the number copied.
uint32_t ringWrite(SampleRing* ring, const int16_t* frames, uint32_t count);
// Drops all written frames; the position at which the next written frame will be heard.
uint64_t ringDiscard(SampleRing* ring);

// Consumer side: skips to the discard mark, copies up to count frames out, the number
// copied.
uint32_t ringRead(SampleRing* ring, int16_t* out, uint32_t count);
// Skips to the discard mark without reading.
void ringSkipDiscarded(SampleRing* ring);
// Copies up to count frames out without passing a discard mark not yet skipped to (the
// frames before it stay readable until then, for a fade); the number copied.
uint32_t ringReadBeforeCut(SampleRing* ring, int16_t* out, uint32_t count);

// Either side: the position of the next frame to be heard (read position or discard
// mark, whichever is later), and the frames waiting behind it.
uint64_t ringPlayPosition(const SampleRing* ring);
uint32_t ringFill(const SampleRing* ring);
