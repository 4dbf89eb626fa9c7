// The wave tap: a 16384-byte file whose first 4096 bytes hold the latest 2048 mono
// samples heard (signed 16-bit little-endian, 48 kHz), updated in place. The file is
// kept, not recreated, across restarts, so a reader's mapping stays valid.
#pragma once

#include <cstdint>

constexpr uint32_t kTapFileBytes = 16384;
constexpr uint32_t kTapSamples = 2048;

// Creates or reopens the file and maps it: 0 or -1.
int tapOpen(const char* path);
// Stores kTapSamples samples, oldest first.
void tapWrite(const int16_t* samples);
// Silence, for when nothing plays.
void tapClear();
void tapClose();
