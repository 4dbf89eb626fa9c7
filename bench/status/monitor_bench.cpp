// One whole monitor cycle on realistic files: a status file of about 600 bytes and a
// dump of about 4 KB with two sections, with and without a tag that needs the
// double-encoding repair. The cost of reading alone (open, read, close of both files)
// is measured in the same run as the baseline.
#include "base/device_paths.h"
#include "status/music_status.h"
#include "zcommon.h"

#include <SDL2/SDL.h>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <sys/stat.h>

namespace {

void makeDirs(const std::string& path) {
    for (size_t i = 1; i <= path.size(); ++i)
        if (i == path.size() || path[i] == '/')
            mkdir(path.substr(0, i).c_str(), 0755);
}

void writeText(const char* path, const std::string& text) {
    FILE* file = fopen(path, "w");
    if (file) {
        fwrite(text.data(), 1, text.size(), file);
        fclose(file);
    }
}

std::string statusText(bool needsRepair) {
    std::string title =
        needsRepair ? "\xC3\x92\xC3\xB4\xC3\x80\xC3\x96\xC3\x92\xC3\xB4" : "A Perfectly Ordinary Title";
    std::string text =
        "{\n\t\"filename\":\t\"/mnt/SDCARD/Music/Some Artist/Some Album (Deluxe Edition)/07 - "
        "The Seventh Track of the Album.flac\",\n\t\"status\":\t\"playing\",\n\t\"duration\":\t287,\n"
        "\t\"position\":\t121,\n\t\"volume\":\t70,\n\t\"audiotrack\":\t0,\n\t\"title\":\t\"" +
        title +
        "\",\n\t\"artist\":\t\"Some Artist featuring Another Artist\",\n\t\"album\":\t\"Some Album "
        "(Deluxe Edition)\",\n\t\"year\":\t\"2019\",\n\t\"comment\":\t\"Ripped from the original "
        "compact disc with a secure ripper; verified against the online "
        "database\",\n\t\"track\":\t\"7/12\",\n"
        "\t\"genre\":\t\"\",\n\t\"samplerate\":\t44100,\n\t\"bitrate\":\t1011,\n\t\"channels\":\t2\n}";
    text.append(600 > text.size() ? 600 - text.size() : 0, ' ');
    return text;
}

std::string dumpText() {
    std::string section =
        "Input #0, flac, from '/mnt/SDCARD/Music/Some Artist/Some Album (Deluxe Edition)/07 - The "
        "Seventh Track of the Album.flac':\n  Metadata:\n"
        "    title           : The Seventh Track\n    artist          : Some Artist\n"
        "    album           : Some Album (Deluxe Edition)\n    date            : 2019\n"
        "    genre           : Progressive Rock\n";
    for (int i = 0; i < 20; ++i)
        section +=
            "    comment_" + std::to_string(i) + "       : some longer text that the parser has to skip\n";
    section += "  Duration: 00:04:47.12, start: 0.000000, bitrate: 1011 kb/s\n"
               "  Stream #0:0: Audio: flac, 44100 Hz, stereo, s16\n";
    std::string text = section + section;
    text.resize(4096, '\n');
    return text;
}

void setUpFiles(bool needsRepair) {
    makeDirs(MP_SERVICE_DIR);
    writeText(MP_STATUS_FILE, statusText(needsRepair));
    writeText(MP_MUSIC_INFO_FILE, dumpText());
}

void MonitorCycle(benchmark::State& state) {
    setUpFiles(state.range(0) != 0);
    char* text = nullptr;
    for (auto _ : state) {
        benchmark::DoNotOptimize(musicStatusCycle(&text));
        SDL_FlushEvent(SDL_USEREVENT);
    }
    // The figures only mean something if the cycle took the intended path.
    pthread_mutex_lock(&sMusicPlayingStatusLock);
    bool repaired = sMusicPlayingStatus.title == "\xE9\x9F\xB3\xE4\xB9\x90\xE9\x9F\xB3";
    bool genreFromDump = sMusicPlayingStatus.genre == "Progressive Rock";
    pthread_mutex_unlock(&sMusicPlayingStatusLock);
    if (!genreFromDump || repaired != (state.range(0) != 0))
        state.SkipWithError("the cycle did not store the expected tags");
}

void ReadBothFilesOnly(benchmark::State& state) {
    setUpFiles(false);
    char* text = nullptr;
    for (auto _ : state) {
        for (const char* path : {MP_STATUS_FILE, MP_MUSIC_INFO_FILE}) {
            FILE* file = fopen(path, "r");
            benchmark::DoNotOptimize(loadContent(path, file, &text));
            fclose(file);
        }
    }
}

} // namespace

BENCHMARK(ReadBothFilesOnly)->Unit(benchmark::kMicrosecond);
BENCHMARK(MonitorCycle)->Arg(0)->ArgName("repair")->Unit(benchmark::kMicrosecond);
BENCHMARK(MonitorCycle)->Arg(1)->ArgName("repair")->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    SDL_Init(SDL_INIT_EVENTS);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    SDL_Quit();
    return 0;
}
