// The whole player as a user runs it: the real musicplayer on a virtual X server of the
// device's screen size (Xvfb), beside the real service playing the demo library, driven
// by keys sent through the X server. For each player named on the command line (an old
// build beside the new one, say), in turn, run after run:
//   - CPU, as percent of one core over a stretch, with resident and anonymous memory, on
//     the still library, on the library while music plays, and on the now-playing screen
//     with each visual effect;
//   - the growth of anonymous memory over 1,000 key presses on the library.
// Then the medians of the runs, and each player's ratio to the first.
//
// Run it inside unshare -n, as the service's socket name is global to the namespace:
//   unshare -n build-test-release/bench/app/bench_app [options] [PLAYER ...]
// Options: --seconds N (each stretch, default 10), --runs N (default 3), --shots DIR
// (a PNG of each screen), --default-renderer (let the player choose; otherwise it gets
// SDL's software renderer drawing straight into the window). The players must be built
// with this build's DEVICE_ROOT; without one, the build's own player runs.
#include "base/device_paths.h"
#include "process_stats.h"
#include "service/client/commands.h"
#include "service/client/wire.h"
#include "service_runner.h"
#include "zcommon.h"

#include <SDL2/SDL.h>
#include <SDL2/SDL_image.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Options {
    int seconds = 10;
    int runs = 3;
    std::string shots;
    bool defaultRenderer = false;
    std::vector<std::string> players;
};

// One stretch on one screen.
struct Sample {
    double cpu = 0;
    double residentMb = 0;
    double anonymousMb = 0;
};

Display* sDisplay = nullptr;
pid_t sXvfb = -1;
int sDisplayNumber = -1;
using FakeKey = int (*)(Display*, unsigned, Bool, unsigned long);
using FakeMotion = int (*)(Display*, int, int, int, unsigned long);
FakeKey sFakeKey = nullptr;
FakeMotion sFakeMotion = nullptr;

bool fileExists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

std::string fileText(const std::string& path) {
    std::stringstream buffer;
    buffer << std::ifstream(path).rdbuf();
    return buffer.str();
}

template <typename Condition> bool waitFor(Condition condition, int timeoutMs) {
    for (long start = monotonicMs(); monotonicMs() - start < timeoutMs; usleep(20000)) {
        if (condition())
            return true;
    }
    return condition();
}

// Starts Xvfb on a display number that no other server holds, and connects to it.
bool startX() {
    void* xtest = dlopen("libXtst.so.6", RTLD_NOW);
    sFakeKey = xtest ? reinterpret_cast<FakeKey>(dlsym(xtest, "XTestFakeKeyEvent")) : nullptr;
    sFakeMotion = xtest ? reinterpret_cast<FakeMotion>(dlsym(xtest, "XTestFakeMotionEvent")) : nullptr;
    if (!sFakeKey || !sFakeMotion) {
        fprintf(stderr, "libXtst.so.6 is missing (apt-get install libxtst6)\n");
        return false;
    }
    for (int number = 90; number < 130; ++number) {
        std::string name = ":" + std::to_string(number);
        if (fileExists("/tmp/.X" + std::to_string(number) + "-lock") ||
            fileExists("/tmp/.X11-unix/X" + std::to_string(number)))
            continue;
        sXvfb = fork();
        if (sXvfb == 0) {
            int null = open("/dev/null", O_WRONLY);
            dup2(null, STDOUT_FILENO);
            dup2(null, STDERR_FILENO);
            execlp("Xvfb", "Xvfb", name.c_str(), "-screen", "0", "1280x720x24", "-nolisten", "tcp", nullptr);
            _exit(127);
        }
        bool exited = false; // another server took the number meanwhile, say
        waitFor(
            [&] {
                exited = waitpid(sXvfb, nullptr, WNOHANG) == sXvfb;
                return exited || (sDisplay = XOpenDisplay(name.c_str())) != nullptr;
            },
            10000);
        if (sDisplay) {
            sDisplayNumber = number;
            return true;
        }
        if (!exited) {
            kill(sXvfb, SIGKILL);
            waitpid(sXvfb, nullptr, 0);
        }
        sXvfb = -1;
    }
    fprintf(stderr, "no virtual X server started (apt-get install xvfb)\n");
    return false;
}

void stopX() {
    if (sDisplay)
        XCloseDisplay(sDisplay);
    if (sXvfb > 0) {
        kill(sXvfb, SIGTERM);
        waitpid(sXvfb, nullptr, 0);
    }
}

// A press and a release, as a keyboard makes them.
void pressKey(KeySym symbol) {
    unsigned code = XKeysymToKeycode(sDisplay, symbol);
    sFakeKey(sDisplay, code, True, 0);
    sFakeKey(sDisplay, code, False, 0);
    XSync(sDisplay, False);
}

// The whole screen as a PNG.
void saveShot(const std::string& dir, const std::string& name) {
    if (dir.empty())
        return;
    Window root = DefaultRootWindow(sDisplay);
    XImage* image = XGetImage(sDisplay, root, 0, 0, 1280, 720, AllPlanes, ZPixmap);
    if (!image)
        return;
    SDL_Surface* surface = SDL_CreateRGBSurfaceWithFormatFrom(image->data, 1280, 720, 32,
                                                              image->bytes_per_line, SDL_PIXELFORMAT_RGB888);
    mkdir(dir.c_str(), 0755);
    if (surface)
        IMG_SavePNG(surface, (dir + "/" + name + ".png").c_str());
    SDL_FreeSurface(surface);
    XDestroyImage(image);
}

pid_t startPlayer(const std::string& player, const Options& options, const std::string& log) {
    pid_t pid = fork();
    if (pid == 0) {
        int out = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(out, STDOUT_FILENO);
        dup2(out, STDERR_FILENO);
        // The player runs in its application folder, where its skin lies.
        if (chdir(MP_SOURCE_DIR) != 0)
            _exit(126);
        setenv("DISPLAY", (":" + std::to_string(sDisplayNumber)).c_str(), 1);
        setenv("SDL_VIDEODRIVER", "x11", 1);
        if (!options.defaultRenderer) {
            setenv("SDL_RENDER_DRIVER", "software", 1);
            setenv("SDL_FRAMEBUFFER_ACCELERATION", "0", 1);
        }
        execl(player.c_str(), player.c_str(), "-d", demoLibraryDir(), nullptr);
        _exit(127);
    }
    return pid;
}

void stopPlayer(pid_t pid) {
    kill(pid, SIGTERM);
    if (!waitFor([&] { return waitpid(pid, nullptr, WNOHANG) == pid; }, 10000)) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}

Sample measure(pid_t pid, int seconds) {
    Sample sample;
    sample.cpu = cpuPercentOver(pid, seconds);
    long resident = 0, anonymous = 0;
    processMemoryKb(pid, &resident, &anonymous);
    sample.residentMb = resident / 1024.0;
    sample.anonymousMb = anonymous / 1024.0;
    return sample;
}

// The settings the player starts with on every run: cover background, the visualiser
// with the first effect, background play.
void writeSettings() {
    std::ofstream(MP_CONFIG_FILE)
        << "{\"cover_as_background\": 1, \"music_visualization\": 1, "
           "\"background_play\": 1, \"visualization_index\": 0, \"music_volume\": 50}\n";
}

// The screens in the order a run visits them.
std::vector<std::string> sScreens;

void record(std::map<std::string, Sample>* samples, const std::string& screen, const Sample& sample) {
    if (std::find(sScreens.begin(), sScreens.end(), screen) == sScreens.end())
        sScreens.push_back(screen);
    (*samples)[screen] = sample;
}

// One run of one player: the screens in turn, then the key presses. Empty on failure.
std::map<std::string, Sample> runPlayer(const std::string& player, int index, const Options& options) {
    std::map<std::string, Sample> samples;
    const std::string shots =
        options.shots.empty() ? "" : options.shots + "/player" + std::to_string(index + 1);
    noarg_cmd(kCmdStop);
    writeSettings();
    std::string log =
        std::string(MP_SERVICE_LOG_DIR) + "/bench_app-player" + std::to_string(index + 1) + ".log";
    pid_t pid = startPlayer(player, options, log);
    if (!waitFor([&] { return fileText(log).find("runWindows") != std::string::npos; }, 20000)) {
        fprintf(stderr, "%s did not start; see %s\n", player.c_str(), log.c_str());
        stopPlayer(pid);
        return samples;
    }
    sFakeMotion(sDisplay, -1, 640, 360, 0); // the pointer over the window, which then gets the keys
    sleep(2);
    saveShot(shots, "library");
    record(&samples, "library, still", measure(pid, options.seconds));

    // A track with a cover, over and over.
    std::string chords = std::string(demoLibraryDir()) + "/Chords";
    setPlayDir(chords.c_str());
    setPlayMode(PlayModeSingleCycle);
    std::string track = chords + "/02 A minor.flac";
    filepath_cmd(kCmdPlayInDir, track.c_str());
    MusicPlayingStatus status;
    waitForStatus([&](const MusicPlayingStatus& s) { return s.filename == track && s.status == "playing"; },
                  10000, &status);
    sleep(1);
    record(&samples, "library, playing", measure(pid, options.seconds));

    pressKey(XK_Tab); // the now-playing screen
    for (int effect = 1; effect <= 3; ++effect) {
        sleep(2);
        saveShot(shots, "now_playing_effect" + std::to_string(effect));
        record(&samples, "now playing, effect " + std::to_string(effect), measure(pid, options.seconds));
        pressKey(XK_2); // the next effect
    }
    pressKey(XK_Escape); // back to the library; the music goes on
    sleep(1);

    // Moving, paging, and into the first folder and out again, ten keys at a time.
    const KeySym keys[] = {XK_Down, XK_Down,   XK_Up,     XK_Up,   XK_Right,
                           XK_Left, XK_Return, XK_Escape, XK_Left, XK_Left};
    auto press = [&](int count) {
        for (int i = 0; i < count; ++i) {
            pressKey(keys[i % 10]);
            usleep(20000);
        }
    };
    press(100); // what the first entries and the text cache take
    sleep(2);
    Sample before = measure(pid, 1);
    long ticks = processCpuTicks(pid), start = monotonicMs();
    press(1000);
    Sample growth;
    growth.cpu = 100.0 * static_cast<double>(processCpuTicks(pid) - ticks) /
                 static_cast<double>(sysconf(_SC_CLK_TCK)) /
                 (static_cast<double>(monotonicMs() - start) / 1000.0);
    sleep(2);
    Sample after = measure(pid, 1);
    saveShot(shots, "library_after_keys");
    growth.residentMb = after.residentMb - before.residentMb;
    growth.anonymousMb = after.anonymousMb - before.anonymousMb;
    record(&samples, "1,000 keys (CPU while pressed, memory growth)", growth);
    stopPlayer(pid);
    noarg_cmd(kCmdStop);
    return samples;
}

bool parse(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if ((arg == "--seconds" || arg == "--runs" || arg == "--shots") && i + 1 < argc) {
            std::string value = argv[++i];
            if (arg == "--shots")
                options->shots = value;
            else
                (arg == "--runs" ? options->runs : options->seconds) = std::max(1, atoi(value.c_str()));
        } else if (arg == "--default-renderer") {
            options->defaultRenderer = true;
        } else if (!arg.empty() && arg[0] != '-') {
            char* path = realpath(arg.c_str(), nullptr); // the player starts in another folder
            options->players.push_back(path ? path : arg);
            free(path);
        } else {
            return false;
        }
    }
    if (options->players.empty())
        options->players.push_back(MP_MUSICPLAYER_BIN);
    return true;
}

void printTable(const Options& options, const std::vector<std::vector<std::map<std::string, Sample>>>& runs) {
    printf("\n%s renderer, %d s per stretch, medians of %d runs\n\n",
           options.defaultRenderer ? "the player's own" : "software", options.seconds, options.runs);
    for (size_t p = 0; p < options.players.size(); ++p)
        printf("player %zu: %s\n", p + 1, options.players[p].c_str());
    printf("\n| Screen | What |");
    for (size_t p = 0; p < options.players.size(); ++p)
        printf(p ? " player %zu | ratio |" : " player %zu |", p + 1);
    printf("\n|---|---|");
    for (size_t p = 0; p < options.players.size(); ++p)
        printf(p ? "---|---|" : "---|");
    printf("\n");
    const struct {
        const char* what;
        double Sample::*field;
        const char* format;
    } rows[] = {{"CPU %", &Sample::cpu, "%.2f"},
                {"resident MB", &Sample::residentMb, "%.2f"},
                {"anonymous MB", &Sample::anonymousMb, "%.2f"}};
    for (const std::string& screen : sScreens) {
        for (const auto& row : rows) {
            printf("| %s | %s |", screen.c_str(), row.what);
            double first = 0;
            for (size_t p = 0; p < options.players.size(); ++p) {
                std::vector<double> values;
                for (const auto& run : runs[p]) {
                    auto found = run.find(screen);
                    if (found != run.end())
                        values.push_back(found->second.*(row.field));
                }
                double value = median(values);
                printf(" ");
                printf(row.format, value);
                if (p == 0)
                    first = value;
                else if (first != 0)
                    printf(" | %.2f", value / first);
                else
                    printf(" | -");
                printf(" |");
            }
            printf("\n");
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, &options)) {
        fprintf(stderr,
                "usage: %s [--seconds N] [--runs N] [--shots DIR] [--default-renderer] [PLAYER ...]\n",
                argv[0]);
        return 2;
    }
    tprintfToStderr(false);
    std::string make = std::string(MP_DEMO_TOOL) + " " + demoLibraryDir() + " >/dev/null";
    if (system(make.c_str()) != 0) {
        fprintf(stderr, "cannot make the demo library\n");
        return 1;
    }
    // The player lists its visual effects from its application folder on the device: here
    // a copy of the checkout's (the tests remake that folder under the same device root).
    std::string settings = std::string(MP_CONFIG_FILE).substr(0, std::string(MP_CONFIG_FILE).rfind('/'));
    std::string folders = "rm -rf '" MP_VIS_DIR "' && mkdir -p '" MP_VIS_DIR "' '" + settings + "' '" +
                          MP_SERVICE_DIR + "' && cp -r '" MP_SOURCE_DIR "/skin/vis/.' '" MP_VIS_DIR "'";
    if (system(folders.c_str()) != 0)
        fprintf(stderr, "cannot make the device folders\n");
    if (!options.shots.empty())
        mkdir(options.shots.c_str(), 0755);
    if (!startX())
        return 1;
    // Nothing for the service to take up: every player starts at the library's root.
    unlink(MP_SERVICE_DATA_DIR "/resume_state");
    ServiceProcess service;
    if (startMusicService(&service) < 0) {
        fprintf(stderr, "the service did not start (run inside unshare -n)\n");
        stopX();
        return 1;
    }
    std::vector<std::vector<std::map<std::string, Sample>>> runs(options.players.size());
    for (int run = 0; run < options.runs; ++run) {
        for (size_t p = 0; p < options.players.size(); ++p) {
            fprintf(stderr, "run %d of %d, player %zu\n", run + 1, options.runs, p + 1);
            auto samples = runPlayer(options.players[p], static_cast<int>(p), options);
            if (!samples.empty())
                runs[p].push_back(samples);
        }
    }
    stopMusicService(&service);
    stopX();
    printTable(options, runs);
    return 0;
}
