#include "musicservice/sample_ring.h"

#include <cstdlib>
#include <cstring>

int ringInit(SampleRing* ring, uint32_t capacityFrames) {
    uint32_t capacity = 1;
    while (capacity < capacityFrames && capacity < (1u << 30))
        capacity <<= 1;
    ring->data = static_cast<int16_t*>(calloc(capacity, 2 * sizeof(int16_t)));
    if (!ring->data)
        return -1;
    ring->capacity = capacity;
    ring->written.store(0);
    ring->read.store(0);
    ring->discardTo.store(0);
    return 0;
}

void ringRelease(SampleRing* ring) {
    free(ring->data);
    ring->data = nullptr;
    ring->capacity = 0;
}

uint32_t ringSpace(const SampleRing* ring) {
    // Only the consumer's own position frees slots: until it has skipped a discarded
    // stretch it may still be copying from it.
    uint64_t used = ring->written.load(std::memory_order_relaxed) - ring->read.load(std::memory_order_acquire);
    return ring->capacity - static_cast<uint32_t>(used);
}

uint32_t ringWrite(SampleRing* ring, const int16_t* frames, uint32_t count) {
    uint32_t space = ringSpace(ring);
    if (count > space)
        count = space;
    uint64_t position = ring->written.load(std::memory_order_relaxed);
    uint32_t slot = static_cast<uint32_t>(position & (ring->capacity - 1));
    uint32_t first = ring->capacity - slot < count ? ring->capacity - slot : count;
    memcpy(ring->data + 2 * slot, frames, first * 2 * sizeof(int16_t));
    memcpy(ring->data, frames + 2 * first, (count - first) * 2 * sizeof(int16_t));
    ring->written.store(position + count, std::memory_order_release);
    return count;
}

uint64_t ringDiscard(SampleRing* ring) {
    uint64_t position = ring->written.load(std::memory_order_relaxed);
    ring->discardTo.store(position, std::memory_order_release);
    return position;
}

void ringSkipDiscarded(SampleRing* ring) {
    uint64_t mark = ring->discardTo.load(std::memory_order_acquire);
    if (ring->read.load(std::memory_order_relaxed) < mark)
        ring->read.store(mark, std::memory_order_release);
}

uint32_t ringRead(SampleRing* ring, int16_t* out, uint32_t count) {
    ringSkipDiscarded(ring);
    return ringReadBeforeCut(ring, out, count);
}

uint32_t ringReadBeforeCut(SampleRing* ring, int16_t* out, uint32_t count) {
    uint64_t position = ring->read.load(std::memory_order_relaxed);
    uint64_t end = ring->written.load(std::memory_order_acquire);
    uint64_t mark = ring->discardTo.load(std::memory_order_acquire);
    if (mark > position && mark < end)
        end = mark;
    uint64_t available = end > position ? end - position : 0;
    if (count > available)
        count = static_cast<uint32_t>(available);
    uint32_t slot = static_cast<uint32_t>(position & (ring->capacity - 1));
    uint32_t first = ring->capacity - slot < count ? ring->capacity - slot : count;
    memcpy(out, ring->data + 2 * slot, first * 2 * sizeof(int16_t));
    memcpy(out + 2 * first, ring->data, (count - first) * 2 * sizeof(int16_t));
    ring->read.store(position + count, std::memory_order_release);
    return count;
}

uint64_t ringPlayPosition(const SampleRing* ring) {
    uint64_t read = ring->read.load(std::memory_order_acquire);
    uint64_t mark = ring->discardTo.load(std::memory_order_acquire);
    return read > mark ? read : mark;
}

uint32_t ringFill(const SampleRing* ring) {
    uint64_t written = ring->written.load(std::memory_order_acquire);
    uint64_t position = ringPlayPosition(ring);
    return written > position ? static_cast<uint32_t>(written - position) : 0;
}
