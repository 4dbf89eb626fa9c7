// Measures the running service (SDL's dummy audio driver, so time passes as on a real
// device and no sound card is needed):
//   - CPU use while playing a FLAC file, as percent of one core over 20 seconds;
//   - the delay from "play_file_in_dir" to the first status file that names the file;
//   - the delay from "seek" to the first status file with the new position.
// Each figure is the median of several runs. Run it inside unshare -n.
#include "base/device_paths.h"
#include "process_stats.h"
#include "service/client/commands.h"
#include "service/client/wire.h"
#include "service_runner.h"
#include "zcommon.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// Milliseconds until the status satisfies the condition; -1 after 5 s.
template <typename Condition> double untilStatus(long start, Condition condition) {
    MusicPlayingStatus record;
    while (monotonicMs() - start < 5000) {
        if (readStatusRecord(&record) && condition(record))
            return static_cast<double>(monotonicMs() - start);
        usleep(500);
    }
    return -1;
}

} // namespace

int main() {
    tprintfToStderr(false);
    std::string make = std::string(MP_DEMO_TOOL) + " " + demoLibraryDir() + " >/dev/null";
    if (system(make.c_str()) != 0) {
        fprintf(stderr, "cannot make the demo library\n");
        return 1;
    }
    ServiceProcess service;
    if (startMusicService(&service) < 0) {
        fprintf(stderr, "the service did not start (run inside unshare -n)\n");
        return 1;
    }
    std::string dir = std::string(demoLibraryDir()) + "/Tones";
    std::string flac = dir + "/01 Tone 440 Hz.flac";
    std::string other = dir + "/02 Tone 1007.8125 Hz.flac";
    setPlayDir(dir.c_str());

    // Play: alternate two files, each time waiting for the status to name the new one.
    std::vector<double> playMs;
    for (int i = 0; i < 15; ++i) {
        const std::string& path = i % 2 ? flac : other;
        long start = monotonicMs();
        filepath_cmd(kCmdPlayInDir, path.c_str());
        playMs.push_back(untilStatus(start, [&](const MusicPlayingStatus& s) { return s.filename == path; }));
        usleep(200000);
    }

    // Seek: alternate two positions in the playing file.
    filepath_cmd(kCmdPlayInDir, flac.c_str());
    untilStatus(monotonicMs(), [&](const MusicPlayingStatus& s) { return s.filename == flac; });
    std::vector<double> seekMs;
    for (int i = 0; i < 15; ++i) {
        int target = i % 2 ? 5 : 15;
        long start = monotonicMs();
        seek_cmd(target * 1000);
        seekMs.push_back(untilStatus(start, [&](const MusicPlayingStatus& s) { return s.position == target; }));
        usleep(200000);
    }

    // CPU: three stretches of 20 s of FLAC playback (each from the start of the file):
    // the demo's 48 kHz mono tone, and the same tone as 44.1 kHz stereo, which goes
    // through the resampler.
    auto cpuWhilePlaying = [&](const std::string& path) {
        std::vector<double> percent;
        setPlayDir(path.substr(0, path.find_last_of('/')).c_str());
        for (int run = 0; run < 3; ++run) {
            filepath_cmd(kCmdPlayInDir, path.c_str());
            usleep(300000);
            percent.push_back(cpuPercentOver(service.pid, 20));
        }
        return percent;
    };
    std::vector<double> cpuPercent = cpuWhilePlaying(flac);
    std::string resampled = std::string(demoLibraryDir()) + "/../bench-44k-stereo.flac";
    std::string convert = "ffmpeg -hide_banner -loglevel error -nostdin -y -i '" + flac +
                          "' -ar 44100 -ac 2 '" + resampled + "'";
    std::vector<double> cpuResampled;
    if (system(convert.c_str()) == 0)
        cpuResampled = cpuWhilePlaying(resampled);
    stopMusicService(&service);

    printf("play_file_in_dir -> status names the file: median %.1f ms (min %.1f, max %.1f, %zu runs)\n",
           median(playMs), *std::min_element(playMs.begin(), playMs.end()),
           *std::max_element(playMs.begin(), playMs.end()), playMs.size());
    printf("seek -> status shows the position:       median %.1f ms (min %.1f, max %.1f, %zu runs)\n",
           median(seekMs), *std::min_element(seekMs.begin(), seekMs.end()),
           *std::max_element(seekMs.begin(), seekMs.end()), seekMs.size());
    auto report = [](const char* what, const std::vector<double>& values) {
        if (values.empty())
            return;
        printf("CPU while playing %s median %.2f %% of one core (20 s each, runs:", what, median(values));
        for (double value : values)
            printf(" %.2f", value);
        printf(")\n");
    };
    report("FLAC 48 kHz mono:       ", cpuPercent);
    report("FLAC 44.1 kHz stereo:   ", cpuResampled);
    return 0;
}
