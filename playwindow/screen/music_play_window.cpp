// The now-playing window's model: its skin images, the focus grid, what entering and
// leaving the screen start and stop, and the loading of a visual effect's images.
#include "playwindow/screen/music_play_window.h"

#include "app/shared/language_table.h"
#include "base/device_paths.h"
#include "playwindow/screen/play_window_internal.h"
#include "visualiser/effects/effect_catalogue.h"
#include "visualiser/spectrum/spectrum.h"
#include "zcommon.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

constexpr int kKindPlayWindow = 1;

ZelmorSurface* loadSkin(const char* file) {
    return LoadZelmorSurface(gThemePath, "./", file);
}

char s_userCoverPath[260];

// Suffixes of a cover beside the track, in the order they are looked for. The case has
// to match; the upper-case forms that cameras and rippers write are listed too.
const char* const kCoverSuffixes[] = {".jpg", ".jpeg", ".png", ".bmp", ".JPG", ".PNG", ".BMP"};

} // namespace

const char* getUserCoverPath(std::string path) {
    // A track without a name has nothing beside it.
    if (path.empty())
        return nullptr;
    size_t dot = path.rfind('.');
    if (dot == 0)
        return nullptr;
    std::string base = dot == std::string::npos ? path : path.substr(0, dot);
    for (const char* suffix : kCoverSuffixes) {
        int length = snprintf(s_userCoverPath, sizeof(s_userCoverPath), "%s%s", base.c_str(), suffix);
        // A name that does not fit the buffer is not taken.
        if (length < 0 || static_cast<size_t>(length) >= sizeof(s_userCoverPath))
            continue;
        if (access(s_userCoverPath, F_OK) == 0)
            return s_userCoverPath;
    }
    return nullptr;
}

MusicPlayWindow::MusicPlayWindow(int listType, bool playing, bool showIdleMessage)
    : ZelmorWindow(kLangMusic, kKindPlayWindow), mCover(nullptr), mCoverBlur(nullptr) {
    // Skin images, in the order a theme is expected to provide them.
    mDefaultCover = loadSkin("skin/cover-default.png");
    mBgMask = loadSkin("skin/bg-mask.png");
    mProgressBgN = loadSkin("skin/progress-bg-n.png");
    mSliderLeftN = loadSkin("skin/progress-slider-left-n.png");
    mSliderRightN = loadSkin("skin/progress-slider-right-n.png");
    mSliderMiddleN = loadSkin("skin/progress-slider-middle-n.png");
    mBtnRandomN = loadSkin("skin/btn-random-n.png");
    mBtnSequenceN = loadSkin("skin/btn-sequence-n.png");
    mBtnSingleCycleN = loadSkin("skin/btn-single-cycle-n.png");
    mBtnPlayN = loadSkin("skin/btn-play-n.png");
    mBtnPauseN = loadSkin("skin/btn-pause-n.png");
    mIcNextN = loadSkin("skin/ic-next-n.png");
    mBtnPrevN = loadSkin("skin/btn-prev-n.png");
    mBtnAddedFavoriteN = loadSkin("skin/btn-added-favorite-n.png");
    mBtnAddFavoriteN = loadSkin("skin/btn-add-favorite-n.png");
    mBtnPlaylistN = loadSkin("skin/btn-playlist-n.png");
    mProgressBgF = loadSkin("skin/progress-bg-f.png");
    mSliderLeftF = loadSkin("skin/progress-slider-left-f.png");
    mSliderRightF = loadSkin("skin/progress-slider-right-f.png");
    mSliderMiddleF = loadSkin("skin/progress-slider-middle-f.png");
    mBtnRandomF = loadSkin("skin/btn-random-f.png");
    mBtnSequenceF = loadSkin("skin/btn-sequence-f.png");
    mBtnSingleCycleF = loadSkin("skin/btn-single-cycle-f.png");
    mBtnPlayF = loadSkin("skin/btn-play-f.png");
    mBtnPauseF = loadSkin("skin/btn-pause-f.png");
    mIcNextF = loadSkin("skin/ic-next-f.png");
    mBtnPrevF = loadSkin("skin/btn-prev-f.png");
    mBtnAddedFavoriteF = loadSkin("skin/btn-added-favorite-f.png");
    mBtnAddFavoriteF = loadSkin("skin/btn-add-favorite-f.png");
    mBtnPlaylistF = loadSkin("skin/btn-playlist-f.png");
    // The effect's images come with loadVis; mVisSample and mVisPeak are cleared here
    // too, so that loadVis never releases an unset pointer.
    mVisCanvas = nullptr;
    mVisBg = nullptr;
    mVisFg = nullptr;
    mVisFgMask = nullptr;
    mVisSample = nullptr;
    mVisPeak = nullptr;
    mTipsX = loadSkin("skin/tips-x.png");
    mTipsL = loadSkin("skin/tips-L.png");
    mTipsStart = loadSkin("skin/tips-START.png");
    mTipsR = loadSkin("skin/tips-R.png");
    mTipsSelect = loadSkin("skin/tips-SELECT.png");

    // The focus grid: nothing walks it, so the focused control stays none.
    mFocusRows[0] = {0};
    mFocusRows[1] = {kControlProgress};
    mFocusRows[2] = {kControlPlayMode, kControlPrev, kControlPlayPause, kControlNext, kControlPlaylist};
    mListType = listType;
    mFocusCol = -1;
    mFocusRow = -1;

    // The analysis lives as long as the screen; without a tap the window retries while
    // an effect is drawn.
    mFftReady = initVisualizer(0) >= 0;
    mPlaying = playing;
    mShowIdleMessage = showIdleMessage;
    mPosition = 0;
    mDuration = 0;

    scanVisEffects(MP_VIS_DIR);
    loadVis();

    setZelmorWindowFps(60, 60);
    mForwardTimer = 0;
    mForwardCount = 0;
    mBackwardTimer = 0;
    mBackwardCount = 0;
    // Keeps the device awake while the screen is open.
    runShell(MP_CMD_STAY_ALIVE_ON);
}

MusicPlayWindow::~MusicPlayWindow() {
    for (ZelmorSurface** surface :
         {&mCover,         &mCoverBlur,      &mDefaultCover,      &mBgMask,           &mProgressBgN,
          &mSliderLeftN,   &mSliderRightN,   &mSliderMiddleN,     &mBtnRandomN,       &mBtnSequenceN,
          &mBtnSingleCycleN, &mBtnPlayN,     &mBtnPauseN,         &mIcNextN,          &mBtnPrevN,
          &mBtnAddedFavoriteN, &mBtnAddFavoriteN, &mBtnPlaylistN, &mProgressBgF,      &mSliderLeftF,
          &mSliderRightF,  &mSliderMiddleF,  &mBtnRandomF,        &mBtnSequenceF,     &mBtnSingleCycleF,
          &mBtnPlayF,      &mBtnPauseF,      &mIcNextF,           &mBtnPrevF,         &mBtnAddedFavoriteF,
          &mBtnAddFavoriteF, &mBtnPlaylistF, &mVisCanvas,         &mVisBg,            &mVisFg,
          &mVisFgMask,     &mVisSample,      &mVisPeak,           &mTipsX,            &mTipsL,
          &mTipsStart,     &mTipsR,          &mTipsSelect,        &mBackdrop.surface, &mStill.surface})
        release(*surface);
    // Joins the analysis thread, unmaps the tap and frees the transform buffers.
    stopVisualizer();
    // A timer that has already fired is removed without effect.
    if (mForwardTimer != 0)
        SDL_RemoveTimer(mForwardTimer);
    if (mBackwardTimer != 0)
        SDL_RemoveTimer(mBackwardTimer);
    // A callback already under way must not store into this object any more.
    playWindowForgetSeekCounts(&mForwardCount, &mBackwardCount);
}

void MusicPlayWindow::quit() {}
void MusicPlayWindow::init() {}
void MusicPlayWindow::saveState(cJSON*) {}
int MusicPlayWindow::restoreState(cJSON*) {
    return 0;
}
void MusicPlayWindow::refresh() {}
void MusicPlayWindow::enterAnim() {}
void MusicPlayWindow::exitAnim() {}
const char* MusicPlayWindow::getTitle() {
    return ZelmorWindow::getTitle();
}

void MusicPlayWindow::loadVis() {
    tprintf("themepath:[%s] curVis[%s]\n", gThemePath ? gThemePath : "(null)", s_curVis ? s_curVis : "(null)");
    char visPath[260];
    if (!gThemePath || !gThemePath[0])
        snprintf(visPath, sizeof(visPath), "%s", MP_VIS_FALLBACK_DIR);
    else
        snprintf(visPath, sizeof(visPath), "%s/skin/vis/%s", gThemePath, s_curVis ? s_curVis : "");
    tprintf("loadVis from %s\n", visPath);
    tprintf("visPath:%s\n", visPath);

    if (!mVisCanvas)
        mVisCanvas = CreateSurface(kScreenWidth, kScreenHeight);
    release(mVisBg);
    release(mVisFg);
    release(mVisFgMask);
    release(mVisSample);
    release(mVisPeak);
    SDL_Rect whole = {0, 0, kScreenWidth, kScreenHeight};
    FillRect(mVisCanvas, &whole, 0, 0, 0, 0);

    char file[260];
    ZelmorSurface** fields[] = {&mVisBg, &mVisFg, &mVisFgMask, &mVisSample, &mVisPeak};
    const char* names[] = {"%s/bg.png", "%s/fg.png", "%s/mask.png", "%s/sample.png", "%s/peak.png"};
    for (int i = 0; i < 5; ++i) {
        snprintf(file, sizeof(file), names[i], visPath);
        *fields[i] = LoadZelmorSurface("./", "./", file);
    }
    tprintf("mVisCanvas=%p, mVisBg=%p, mVisFg=%p, mVisFgMask=%p, mVisSample=%p, mVisPeak=%p\n",
            static_cast<void*>(mVisCanvas), static_cast<void*>(mVisBg), static_cast<void*>(mVisFg),
            static_cast<void*>(mVisFgMask), static_cast<void*>(mVisSample), static_cast<void*>(mVisPeak));
    s_visType = visTypeOf(s_curVis);
    // bg.png is the veil of the still background.
    ++mImageGeneration;
}
