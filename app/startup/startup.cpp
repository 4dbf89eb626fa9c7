#include "app/startup/startup.h"

#include "app/shared/config.h"
#include "app/shared/joystick.h"
#include "app/shared/language_table.h"
#include "app/shared/screen_state.h"
#include "base/device_paths.h"
#include "service/client/commands.h"
#include "service/client/wire.h"
#include "service/file_actions/play_request.h"
#include "status/music_status.h"
#include "visualiser/spectrum/spectrum.h"

#include "shmvar.h"
#include "zcommon.h"
#include "zwindow.h"

#include <SDL2/SDL_ttf.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <getopt.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

void parseCommandLine(int argc, char** argv) {
    gUserPath = MP_MUSIC_ROOT;
    printf("usage: %s [-d base-path] [-f single-file]\n", argv[0]);
    optind = 1;
    int option;
    while ((option = getopt(argc, argv, "d:f:")) != -1) {
        switch (option) {
        case 'd':
            printf("user path:%s\n", optarg);
            gUserPath = optarg;
            break;
        case 'f':
            printf("user file:%s\n", optarg);
            gUserFile = optarg;
            break;
        default:
            // Unknown options are skipped; they do not stop the start.
            break;
        }
    }
    if (optind < argc)
        printf("argv single:%s\n", argv[optind]);
    fflush(stdout);
}

void singleFileStart(StartState* state) {
    if (gUserFile.empty())
        return;
    size_t slash = gUserFile.rfind('/');
    if (slash != std::string::npos)
        gUserPath = gUserFile.substr(0, slash);
    if (setPlayDir(gUserPath.c_str()) <= 0)
        return;
    filepath_cmd(kCmdPlayInDir, gUserFile.c_str());
    sLastPlayDir = gUserPath;
    sLastPlayPath = gUserFile;
    usleep(100000);
    state->currentPath = gUserFile;
    state->played = true;
}

namespace {

pthread_t sMusicThread;

// The last frame: the shutdown text over the background.
void drawQuittingFrame() {
    if (!gBackground)
        return;
    for (int i = 0; i < 2; ++i) {
        gBackground->blit(nullptr, nullptr, 1, nullptr);
        DrawString(gListFontTxt, SDL_Rect{0, 0, 1280, 720}, getLangStr(kLangQuitting), gListColorTxt, 1, false, false);
        ScreenUpdateAndFlip();
    }
}

void closeSdlAndTtf() {
    tprintf("cleanup close ttf\n");
    TTF_Quit();
    tprintf("cleanup close sdl\n");
    SDL_Quit();
    tprintf("quit\n");
}

int shutdownPlayer() {
    drawQuittingFrame();
    sMusicThreadRunning.store(false, std::memory_order_release);
    pthread_join(sMusicThread, nullptr);
    uninit_shared_skin();
    for (ZelmorSurface** icon : {&gIconAudio, &gIsPlaying, &gIsPaused}) {
        delete *icon;
        *icon = nullptr;
    }
    ScreenUninit();
    if (gJoystick)
        SDL_JoystickClose(gJoystick);
    rx_wifi_monitor_stop();
    savePlayerConfig();
    // The monitor has been joined: the record needs no lock any more.
    if (isPlayingState(sMusicPlayingStatus.status) && !gBackgroundPlay)
        pause();
    free(gThemePath);
    gThemePath = nullptr;
    closeSdlAndTtf();
    return 0;
}

} // namespace

int mp_main(int argc, char** argv) {
    parseCommandLine(argc, argv);
    initLogger(1);
    if (access(gUserPath.c_str(), F_OK) != 0)
        mkdir(gUserPath.c_str(), 0777);
    tprintf("start %ld\n", systemms());

    // Opened for the platform and left open for the life of the process.
    (void)open(MP_DISP_DEVICE, O_RDWR | O_CLOEXEC);
    if (SDL_Init(SDL_INIT_TIMER | SDL_INIT_VIDEO | SDL_INIT_JOYSTICK) < 0) {
        tprintf("Couldn't initialize SDL: %s\n", SDL_GetError());
        return 2;
    }
    tprintf("ttf inited\n");
    if (TTF_Init() < 0) {
        tprintf("Couldn't initialize TTF: %s\n", SDL_GetError());
        SDL_Quit();
        return 2;
    }
    initJoyStick();
    SDL_ShowCursor(0);
    tprintf("sdl inited\n");
    if (ScreenInit(1280, 720, 32, 0) == 0) {
        tprintf("Couldn't set video mode in UI: %s\n", SDL_GetError());
        ScreenUninit();
        closeSdlAndTtf();
        exit(2);
    }
    appendDefaultStrings();
    rx_wifi_monitor_start();
    loadPlayerConfig();
    tprintf("screen inited\n");
    InitKeyShm(&gShmInfo);
    loadSystemState(&gShmInfo, nullptr);
    if (!gThemePath)
        gThemePath = strdup("./");
    init_shared_skin();
    gListColorSubtxt2 = SDL_Color{255, 255, 255, 128};
    gIconAudio = LoadZelmorSurface(gThemePath, "./", "skin/ic-video.png");
    gIsPlaying = LoadZelmorSurface(gThemePath, "./", "skin/ic-playing.png");
    gIsPaused = LoadZelmorSurface(gThemePath, "./", "skin/ic-paused.png");
    initLang();
    sendVolumeSetting("volume handler");

    sMusicThreadRunning.store(true, std::memory_order_release);
    pthread_create(&sMusicThread, nullptr, music_thread, nullptr);
    // The spectrum's transform plan is measured once, in the background, so that the
    // first now-playing screen shows its analysis without that wait.
    prewarmVisualizer();
    usleep(100000);

    StartState state;
    singleFileStart(&state);
    state.listType = getCurrentListType();
    resumeDecision(&state);
    fetchFavoriteList();
    pushStartScreens(state);

    tprintf("runWindows %ld\n", systemms());
    runWindows(gUIWindows);
    return shutdownPlayer();
}
