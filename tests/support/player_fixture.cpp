#include "player_fixture.h"

#include "base/files.h"
#include "service/client/commands.h"
#include "shmvar.h"

#include <SDL2/SDL_image.h>
#include <cjson/cJSON.h>

#include <algorithm>
#include <cmath>

void savePng(const std::string& path, int w, int h, const std::vector<Uint32>& argb) {
    makeDirs(path.substr(0, path.rfind('/')));
    SDL_Surface* image = SDL_CreateRGBSurfaceWithFormatFrom(const_cast<Uint32*>(argb.data()), w, h, 32, w * 4,
                                                            SDL_PIXELFORMAT_ARGB8888);
    IMG_SavePNG(image, path.c_str());
    SDL_FreeSurface(image);
}

void solidPng(const std::string& path, int w, int h, Uint32 argb) {
    savePng(path, w, h, std::vector<Uint32>(static_cast<size_t>(w) * h, argb));
}

void writeTap(const std::vector<std::pair<double, double>>& tones) {
    std::string bytes(kTapMapBytes, '\0');
    for (int n = 0; n < kTapSamples; ++n) {
        double v = 0;
        for (auto& tone : tones)
            v += tone.second * std::sin(2.0 * M_PI * tone.first * n / kTapSamples + tone.first * 2.399);
        auto s = static_cast<int16_t>(std::lround(std::max(-32768.0, std::min(32767.0, v))));
        bytes[2 * n] = static_cast<char>(s & 0xff);
        bytes[2 * n + 1] = static_cast<char>((s >> 8) & 0xff);
    }
    makeDirs(MP_SERVICE_DIR);
    writeFile(MP_WAVE_TAP_FILE, bytes);
}

void listEffects(const std::vector<std::string>& names) {
    removeTree(MP_VIS_DIR);
    for (auto& name : names)
        makeDirs(std::string(MP_VIS_DIR "/") + name);
}

void PlayerTest::SetUp() {
    ScreenTest::SetUp();
    tprintfToStderr(false);
    gDefaultStringList.resize(8);
    appendDefaultStrings();
    initLang();
    gIconAudio = LoadZelmorSurface(gThemePath, "./", "skin/ic-video.png");
    gIsPlaying = LoadZelmorSurface(gThemePath, "./", "skin/ic-playing.png");
    gIsPaused = LoadZelmorSurface(gThemePath, "./", "skin/ic-paused.png");
    setZelmorWindowFps(60, 60);
    library = scratch.path() + "/Music";
    makeDirs(library);
    gUserPath = library;
    gUserFile.clear();
    sLastPlayPath.clear();
    sLastPlayDir.clear();
    gNeedToRefreshIndex = false;
    gVisualization = gCoverBackground = true;
    gMusicVolume = 50;
    s_curEffectIndex = 0;
    s_triggerVisLoad = 0;
    setStatus("", "");
    sMusicPlayingStatus.seekTarget.store(-1);
    sMusicPlayingStatus.seekHold.store(0);
    makeParentDirs(MP_BTDEV_ADDR_FILE);
    makeParentDirs(MP_CONFIG_FILE);
    for (const char* file :
         {MP_BTDEV_ADDR_FILE, MP_SYSTEM_SUSPEND_FILE, MP_STAY_ALIVE_FILE, MP_MUSIC_COVER_FILE})
        removeTree(file);
    listEffects({"fft1"});
    writeTap({});
    gWinList = &gUIWindows;
    ASSERT_TRUE(service.start()) << "the socket name is taken: run the tests in a network namespace";
    service.script("get_play_mode", Reply{ReplyKind::Json, "{\"mode\": 0}"});
}

void PlayerTest::TearDown() {
    service.stop();
    while (!gUIWindows.empty())
        closeTop();
    gWinList = nullptr;
    if (gShmInfo.table)
        SetKeyShm(&gShmInfo, kShmKeySwapButtons, 0);
    for (const char* file : {MP_BTDEV_ADDR_FILE, MP_SYSTEM_SUSPEND_FILE, MP_STAY_ALIVE_FILE, MP_VIS_DIR})
        removeTree(file);
    for (ZelmorSurface** icon : {&gIconAudio, &gIsPlaying, &gIsPaused}) {
        delete *icon;
        *icon = nullptr;
    }
    gDefaultStringList.resize(8);
    ScreenTest::TearDown();
}

void PlayerTest::setStatus(const std::string& path, const std::string& state, int position, int duration,
                           const std::string& title, const std::string& artist, const std::string& album,
                           const std::string& genre, const std::string& year) {
    ZwLock guard(&sMusicPlayingStatusLock);
    MusicPlayingStatus& s = sMusicPlayingStatus;
    s.filename = path;
    s.status = state;
    s.position = position;
    s.duration = duration;
    s.title = title;
    s.artist = artist;
    s.album = album;
    s.genre = genre;
    s.year = year;
}

Words PlayerTest::sent(const char* cmd, const char* member) {
    noarg_cmd("test-mark");
    ++marks;
    EXPECT_TRUE(waitUntil([&] { return static_cast<long>(count("test-mark")) == marks; }))
        << "the service double did not answer";
    std::vector<std::string> values;
    for (const RecordedFrame& frame : service.frames()) {
        if (cmd ? frame.cmd != cmd : frame.cmd == "test-mark" || frame.cmd == "get_play_mode")
            continue;
        cJSON* root = cJSON_Parse(frame.body.c_str());
        cJSON* item = cJSON_GetObjectItem(root, member);
        values.push_back(cJSON_IsString(item)   ? item->valuestring
                         : cJSON_IsNumber(item) ? std::to_string(item->valueint)
                                                : "");
        cJSON_Delete(root);
    }
    return values;
}

int PlayerTest::press(SDL_Keycode key, ZelmorWindow* window) {
    SDL_Event event = pushEvent(SDL_KEYDOWN, key);
    int result = 0;
    EXPECT_TRUE(waitUntil([&] {
        result = window ? window->eventHandling() : step();
        SDL_PumpEvents();
        return SDL_PeepEvents(nullptr, 0, SDL_PEEKEVENT, SDL_KEYDOWN, SDL_KEYDOWN) == 0;
    })) << "the key was never taken";
    // The release goes to the key mapper at once, so that no repeat follows.
    event.type = SDL_KEYUP;
    zwKeyFromEvent(event);
    return result;
}

void PlayerTest::frame(ZelmorWindow& window) {
    SetRenderTarget(nullptr);
    SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
    SDL_RenderClear(gZwRenderer);
    window.draw();
}
