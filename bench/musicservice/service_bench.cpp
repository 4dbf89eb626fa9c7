// Measures the running service (SDL's dummy audio driver, so time passes as on a real
// device and no sound card is needed), each figure the median of several runs beside a
// baseline measured in the same run:
//   - the delay from "play_file_in_dir" to the first status file that names the file,
//     and from "seek" to the first status file with the new position;
//   - status file rewrites per second while playing, paused and stopped, each without
//     and with the now-playing screen's 60 queries a second (the baseline: without);
//   - CPU use, as percent of one core, while playing FLAC (48 kHz mono, and 44.1 kHz
//     stereo through the resampler) and MP3, and while paused; the baseline: ffmpeg
//     decoding the same file to 48 kHz stereo, per second of audio.
// Run it inside unshare -n, or in a build with a socket name of its own.
#include "base/device_paths.h"
#include "process_stats.h"
#include "service/client/commands.h"
#include "service/client/wire.h"
#include "service_runner.h"
#include "scratch_dir.h"
#include "zcommon.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/resource.h>
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

void play(const std::string& path) {
    setPlayDir(path.substr(0, path.find_last_of('/')).c_str());
    filepath_cmd(kCmdPlayInDir, path.c_str());
    untilStatus(monotonicMs(), [&](const MusicPlayingStatus& s) { return s.filename == path; });
}

// Percent of one core the service uses over seconds, three times.
std::vector<double> serviceCpu(pid_t pid, int seconds) {
    std::vector<double> percent;
    for (int run = 0; run < 3; ++run)
        percent.push_back(cpuPercentOver(pid, seconds));
    return percent;
}

// Percent of one core ffmpeg takes to decode the file to the service's output format, per
// second of audio (the file lasts audioSeconds), three times.
std::vector<double> decodeCpu(const std::string& path, double audioSeconds) {
    std::vector<double> percent;
    for (int run = 0; run < 3; ++run) {
        struct rusage before, after;
        getrusage(RUSAGE_CHILDREN, &before);
        if (system(("ffmpeg -v error -nostdin -i '" + path + "' -ar 48000 -ac 2 -f s16le -y /dev/null")
                       .c_str()) != 0)
            return {};
        getrusage(RUSAGE_CHILDREN, &after);
        auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
        double used = seconds(after.ru_utime) - seconds(before.ru_utime) + seconds(after.ru_stime) -
                      seconds(before.ru_stime);
        percent.push_back(100.0 * used / audioSeconds);
    }
    return percent;
}

void report(const char* what, const std::vector<double>& values, const char* unit) {
    printf("%-44s median %8.3f %s (runs:", what, median(values), unit);
    for (double value : values)
        printf(" %.3f", value);
    printf(")\n");
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
    const std::string dir = std::string(demoLibraryDir()) + "/Tones";
    const std::string flac = dir + "/01 Tone 440 Hz.flac", other = dir + "/02 Tone 1007.8125 Hz.flac",
                      mp3 = dir + "/03 Tone 2000 Hz.mp3";
    setPlayDir(dir.c_str());

    // Play: alternate two files, each time waiting for the status to name the new one.
    std::vector<double> playMs, seekMs;
    for (int i = 0; i < 15; ++i) {
        const std::string& path = i % 2 ? flac : other;
        long start = monotonicMs();
        filepath_cmd(kCmdPlayInDir, path.c_str());
        playMs.push_back(untilStatus(start, [&](const MusicPlayingStatus& s) { return s.filename == path; }));
        usleep(200000);
    }
    // Seek: alternate two positions in the playing file.
    play(flac);
    for (int i = 0; i < 15; ++i) {
        int target = i % 2 ? 5 : 15;
        long start = monotonicMs();
        seek_cmd(target * 1000);
        seekMs.push_back(untilStatus(start, [&](const MusicPlayingStatus& s) { return s.position == target; }));
        usleep(200000);
    }
    report("play_file_in_dir -> status names the file", playMs, "ms");
    report("seek -> status shows the position", seekMs, "ms");

    // Status rewrites: five stretches of 4 s in each state, without and with queries.
    auto rewrites = [](bool queries) {
        std::vector<double> perSecond;
        for (int run = 0; run < 5; ++run)
            perSecond.push_back(statusRewritesDuring(4000, [&] { queries&& getPlayMode(); }) / 4.0);
        return perSecond;
    };
    for (const char* state : {"playing", "paused", "stopped"}) {
        play(flac);
        if (state[0] != 'p' || state[1] == 'a')
            noarg_cmd(state[1] == 'a' ? "pause" : "stop");
        usleep(300000);
        std::vector<double> alone = rewrites(false), queried = rewrites(true);
        std::string what = std::string("status rewrites, ") + state;
        report((what + ", no queries").c_str(), alone, "/s");
        report((what + ", 60 queries/s").c_str(), queried, "/s");
        printf("%-44s ratio  %8.2f\n", "  with queries / without", median(queried) / median(alone));
    }

    // CPU: 10 s stretches of each file from its start (the tones are 30 s long).
    const std::string resampled = std::string(demoLibraryDir()) + "/../bench-44k-stereo.flac";
    system(("ffmpeg -v error -nostdin -y -i '" + flac + "' -ar 44100 -ac 2 '" + resampled + "'").c_str());
    for (auto [what, path] :
         {std::pair{"FLAC 48 kHz mono", flac}, {"FLAC 44.1 kHz stereo", resampled}, {"MP3 128 kb/s", mp3}}) {
        play(path);
        std::vector<double> playing = serviceCpu(service.pid, 10), decoding = decodeCpu(path, 30.0);
        report((std::string("CPU playing ") + what).c_str(), playing, "%");
        report((std::string("  baseline: ffmpeg decoding it")).c_str(), decoding, "%");
        printf("%-44s ratio  %8.2f\n", "  service / decoding alone", median(playing) / median(decoding));
    }
    play(flac);
    noarg_cmd("pause");
    usleep(300000);
    report("CPU paused", serviceCpu(service.pid, 10), "%");
    stopMusicService(&service);
    return 0;
}
