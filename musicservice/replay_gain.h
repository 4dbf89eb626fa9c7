// Even loudness from a file's gain tags: the track's (and the album's) gain in dB with
// the stored peak, read from ReplayGain tags or from R128 tags of the kind Opus files
// carry, and the linear factor the samples are scaled by.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

struct ReplayGain {
    bool hasTrack = false;
    bool hasAlbum = false;
    double trackDb = 0;
    double albumDb = 0;
    // Sample peaks as a fraction of full scale; 0 when not stored.
    double trackPeak = 0;
    double albumPeak = 0;
};

// Reads the gain tags through lookup, which gives a tag's value by its key (any case)
// or null. Tags that do not parse, or that claim an absurd gain, are left out.
ReplayGain replayGainFromTags(const std::function<const char*(const char*)>& lookup);

// The factor for the samples: the album's gain when album is asked for and known, else
// the track's; 1 without either. Never more than the stored peak allows, so that
// nothing clips.
double replayGainFactor(const ReplayGain& gain, bool album);

// Scales interleaved samples by a factor in 16.16 fixed point, saturating.
void replayGainScale(int16_t* samples, size_t count, int32_t factorQ16);
