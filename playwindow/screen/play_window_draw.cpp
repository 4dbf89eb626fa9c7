// One frame of the now-playing screen. The window gets no notice from the service: each
// frame compares what the status record holds with what was shown last, and so finds a
// new track, a pause or a stop itself.
#include "playwindow/screen/music_play_window.h"

#include "app/shared/config.h"
#include "app/shared/language_table.h"
#include "app/shared/screen_state.h"
#include "base/device_paths.h"
#include "playwindow/blur/fast_gaussian_blur.h"
#include "playwindow/screen/play_window_internal.h"
#include "service/client/commands.h"
#include "status/music_status.h"
#include "visualiser/effects/effect_catalogue.h"
#include "visualiser/painters/effect_painters.h"
#include "visualiser/spectrum/spectrum.h"
#include "zcommon.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

void blitAt(ZelmorSurface* surface, int x, int y) {
    if (!surface)
        return;
    SDL_Rect at = {x, y, 0, 0};
    surface->blit(nullptr, &at, 1, nullptr);
}

} // namespace

SDL_Rect playWindowBlurCrop(int w, int h) {
    if (static_cast<long>(w) * 720 > static_cast<long>(h) * 1280) {
        int sw = h * 1280 / 720;
        return {(w - sw) / 2, 0, sw, h};
    }
    int sh = w * 720 / 1280;
    return {0, (h - sh) / 2, w, sh};
}

int playWindowPercentage(int position, int duration) {
    if (duration <= 0)
        return 0;
    int hold = sMusicPlayingStatus.seekHold.load();
    if (hold > 0) {
        // The timer thread may set the hold again meanwhile; only a count that is still
        // ours is lowered.
        if (sMusicPlayingStatus.seekHold.compare_exchange_strong(hold, hold - 1) && hold - 1 == 0)
            sMusicPlayingStatus.seekTarget.store(-1);
    }
    int target = sMusicPlayingStatus.seekTarget.load();
    return (target >= 0 ? target : position) * 100 / duration;
}

void MusicPlayWindow::makeCoverBlur() {
    int pitch = 0, bytesPerPixel = 4, width = 256, height = 256;
    void* pixels = mCover->getPixels(&pitch, &bytesPerPixel, &width, &height);
    tprintf("pixels=%p, w=%d, h=%d, pitch = %d, bytesperpixel=%d\n", pixels, width, height, pitch,
            bytesPerPixel);
    if (width <= 16 || height <= 16 || !pixels || pitch <= 0 || bytesPerPixel != 4)
        return;
    auto* scratch = static_cast<unsigned char*>(malloc(static_cast<size_t>(width) * height * 4));
    if (!scratch)
        return;
    auto* in = static_cast<unsigned char*>(pixels);
    unsigned char* out = scratch;
    fast_gaussian_blur<unsigned char, kBorderMirror>(in, out, width, height, 4, 0.0f);
    // The result lies in the surface's own pixel block; CreateFromPixels copies it, so
    // the scratch block (now `in`) is ours to free.
    // The background covers the whole screen and is drawn first: when it is opaque,
    // copying it gives the same pixels as blending it, for less work.
    bool opaque = true;
    for (size_t i = 3; i < static_cast<size_t>(width) * height * 4 && opaque; i += 4)
        opaque = out[i] == 0xff;
    mCoverBlur = CreateFromPixels(out, width, height, 32, pitch, 0xff0000, 0xff00, 0xff, 0xff000000);
    free(scratch);
    if (mCoverBlur && opaque)
        mCoverBlur->setBlendMode(SDL_BLENDMODE_NONE);
}

void MusicPlayWindow::changeTrack(const std::string& path) {
    release(mCover);
    release(mCoverBlur);
    ++mImageGeneration;
    mCurPath = path;
    const char* file = getUserCoverPath(path);
    if (!file && access(MP_MUSIC_COVER_FILE, F_OK) == 0)
        file = MP_MUSIC_COVER_FILE;
    if (file)
        mCover = LoadZelmorSurface(gThemePath, "./", file);
    // The blur is made whatever the background setting says, so turning it on later
    // shows it at once.
    if (mCover)
        makeCoverBlur();
}

VisRows MusicPlayWindow::drawVisualiser() {
    if (s_visType != kVisTypeSpectrum && s_visType != kVisTypeWave)
        return {0, 0};
    if (!mFftReady) {
        // The service may make the tap after the window: try again each frame.
        tprintf("fft not inited\n");
        mFftReady = initVisualizer(0) >= 0;
        return {0, 0};
    }
    if (s_visType == kVisTypeSpectrum) {
        pthread_mutex_lock(&sFFTLock);
        memcpy(mFftValue, s_fft_value, sizeof(mFftValue));
        pthread_mutex_unlock(&sFFTLock);
        pthread_mutex_lock(&sFFTLock);
        memcpy(mFftPeak, s_fft_peak, sizeof(mFftPeak));
        pthread_mutex_unlock(&sFFTLock);
        return paintSpectrumFrame(mVisCanvas, mVisFg, mVisFgMask, mVisPeak, mFftValue, mFftPeak);
    }
    int16_t samples[kTapSamples];
    pthread_mutex_lock(&sFFTLock);
    // A tap cut short under the mapping reads as silence instead of faulting.
    readTapSamples(samples);
    for (int i = 0; i < kTapSamples; ++i)
        mWave[i] = samples[i] * 3.0517578125e-05;
    pthread_mutex_unlock(&sFFTLock);
    return paintWaveformFrame(mVisCanvas, mVisSample, mVisFg, mWave);
}

int MusicPlayWindow::draw() {
    std::string status, path, title, artist;
    readMusicStatus([&](const MusicPlayingStatus& record) {
        status = record.status;
        path = record.filename;
        title = record.title;
        artist = record.artist;
    });

    // While the system sleeps nothing is painted; a paused track lets it sleep.
    if (access(MP_SYSTEM_SUSPEND_FILE, F_OK) == 0) {
        if (isPausedState(status))
            runShell(MP_CMD_STAY_ALIVE_OFF);
        return 0;
    }

    size_t slash = path.rfind('/');
    std::string fileName = slash == std::string::npos ? std::string() : path.substr(slash + 1);

    // The background as the images stand before this frame's track change, which shows
    // its new blur from the next frame on.
    haveLayers();
    ScreenPiece pieces[kMaxStillPieces];
    if (refreshLayer(mBackdrop, pieces, backdropPieces(pieces), nullptr))
        mStill.count = -1; // it was composed over the old backdrop

    if (path.empty() && mShowIdleMessage) {
        putLayer(mBackdrop);
        drawNavBar(0);
        drawStatBar(0);
        DrawString(gPopupFontTitle, SDL_Rect{80, 80, 1280, 560}, getLangStr(kLangNothingPlaying), gListColorTxt,
                   1, false, false);
        return 0;
    }

    if (s_triggerVisLoad != 0) {
        s_triggerVisLoad = 0;
        loadVis();
    }
    // Painted into its canvas now, put on the screen over the background below.
    VisRows canvasRows = {0, 0};
    if (gVisualization)
        canvasRows = drawVisualiser();

    const int mode = getPlayMode();
    const int focused = focusedControl();
    if (mCurPath != path)
        changeTrack(path);

    const int v = gVisualization ? 0 : 80;
    refreshLayer(mStill, pieces, stillPieces(pieces, mode, isPlayingState(status), focused, v), &mBackdrop);
    putStill(canvasRows);

    DrawString(gPopupFontTitle, SDL_Rect{kTextX, kTitleY + v, 750, 50}, title.empty() ? fileName.c_str() : title.c_str(),
               gListColorTxt, 0, false, false);
    DrawString(gNavFont, SDL_Rect{kTextX, kArtistY + v, 750, 40},
               artist.empty() ? getLangStr(kLangUnknownArtist) : artist.c_str(), gListColorSubtxt2, 0, false, false);

    if (!mProgressBgN)
        return 0;

    // Status and times again, from one update of the record.
    readMusicStatus([this](const MusicPlayingStatus& record) {
        if (isPlayingState(record.status)) {
            mPosition = record.position;
            mDuration = record.duration;
        }
    });

    const int percentage = playWindowPercentage(mPosition, mDuration);
    drawProgress(percentage, focused == kControlProgress, kProgressY + v);

    const int barWidth = mProgressBgN->getWidth();
    snprintf(mTimeText, sizeof(mTimeText), "%02d:%02d", mPosition / 60, mPosition % 60);
    DrawString(gStatFont, SDL_Rect{kTextX, kTimeY + v, barWidth, 20}, mTimeText, gListColorSubtxt2, 0, false, false);
    snprintf(mTimeText, sizeof(mTimeText), "%02d:%02d", mDuration / 60, mDuration % 60);
    DrawString(gStatFont, SDL_Rect{kTotalX, kTimeY + v, 139, 20}, mTimeText, gListColorSubtxt2, 0, false, false);
    return 0;
}

void MusicPlayWindow::drawProgress(int percentage, bool focused, int y) {
    auto piece = [focused](ZelmorSurface* normal, ZelmorSurface* focus) { return focused && focus ? focus : normal; };
    int width = mProgressBgN->getWidth();
    blitAt(piece(mProgressBgN, mProgressBgF), kTextX, y);
    int x = kTextX;
    if (ZelmorSurface* left = piece(mSliderLeftN, mSliderLeftF)) {
        blitAt(left, x, y);
        width -= left->getWidth();
        x += left->getWidth();
    }
    ZelmorSurface* right = piece(mSliderRightN, mSliderRightF);
    if (right)
        width -= right->getWidth();
    if (ZelmorSurface* middle = piece(mSliderMiddleN, mSliderMiddleF)) {
        const int m = middle->getWidth();
        int pieces = m > 0 ? percentage * width / (m * 100) : 0;
        if (pieces < 0)
            pieces = 0;
        for (int i = 0; i < pieces; ++i)
            blitAt(middle, x + i * m, y);
        x += pieces * m;
    }
    if (percentage >= 100)
        blitAt(right, x, y);
}

int MusicPlayWindow::focusedControl() const {
    if (static_cast<unsigned>(mFocusRow) > 2 || mFocusCol < 0 ||
        mFocusCol >= static_cast<int>(mFocusRows[mFocusRow].size()))
        return -1;
    return mFocusRows[mFocusRow][mFocusCol];
}
