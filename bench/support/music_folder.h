// Folders of empty music files for the benchmarks that read folders, and the bare
// readdir loop they are measured against.
#pragma once

#include <benchmark/benchmark.h>

#include <string>

// A folder of count empty music files named "<n % 100> - Track <n>.mp3", made once and
// kept between runs under /tmp.
std::string benchMusicFolder(int count);

// A bare opendir/readdir loop over benchMusicFolder(range(0)): the baseline.
void BareReaddir(benchmark::State& state);
