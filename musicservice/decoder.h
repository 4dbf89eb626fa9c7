// One audio file opened with FFmpeg and decoded to the service's output format:
// 48 kHz, interleaved stereo, signed 16-bit, whatever the file holds.
#pragma once

#include "musicservice/media_info.h"

#include <cstdint>

constexpr int kOutputRate = 48000;
constexpr int kOutputChannels = 2;

struct Decoder;

// Opens the file's best audio stream and fills *info (path, duration, tags, dump,
// cover). 0, or negative when the file cannot be opened (it must be a regular file or a
// symlink to one) or holds no audio that can be decoded; *decoder is then null. No call
// on a decoder blocks for much longer than a second, whatever the file does.
int decoderOpen(const char* path, Decoder** decoder, TrackInfo* info);

// The next output frames in *frames, valid until the next call on this decoder: their
// count; 0 at the end of the file; negative when decoding broke down for good.
int decoderRead(Decoder* decoder, const int16_t** frames);

// Moves to ms from the start. Where the file's timestamps allow, the first frame read
// afterwards is the one at ms exactly. 0 or negative.
int decoderSeek(Decoder* decoder, int64_t ms);

// Scales every frame read from now on by the factor (1: unchanged), for even loudness.
void decoderSetGain(Decoder* decoder, double factor);

void decoderClose(Decoder* decoder);

// Makes every step on any decoder give up at once, now and from now on (shutdown).
void decoderAbortAll();
