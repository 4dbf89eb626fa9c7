// The parts of the now-playing screen that change only with the track or a setting.
// The background with its veil is composed once into the backdrop layer, and the
// backdrop with the cover, the controls and the hints into the still layer; a frame puts
// the still layer on the screen with one copy. The visualiser lies between the
// background and those pieces: where its canvas reaches a piece, that piece's area is
// taken back from the backdrop, the canvas blended, and the piece drawn again over it,
// so that every pixel comes out as if the frame had drawn it all in order.
#include "playwindow/screen/music_play_window.h"

#include "app/shared/config.h"
#include "playwindow/screen/play_window_internal.h"
#include "service/protocol/protocol.h"

#include <algorithm>

namespace {

ScreenPiece placedAt(ZelmorSurface* image, int x, int y) {
    return {image, {0, 0, 0, 0}, {x, y, image->getWidth(), image->getHeight()}, 1};
}

bool sameRect(const SDL_Rect& a, const SDL_Rect& b) {
    return a.x == b.x && a.y == b.y && a.w == b.w && a.h == b.h;
}

bool samePiece(const ScreenPiece& a, const ScreenPiece& b) {
    return a.image == b.image && a.flag == b.flag && sameRect(a.source, b.source) &&
           sameRect(a.place, b.place);
}

void drawPiece(const ScreenPiece& piece) {
    SDL_Rect source = piece.source, place = piece.place;
    piece.image->blit(source.w ? &source : nullptr, place.w ? &place : nullptr, piece.flag, nullptr);
}

} // namespace

int MusicPlayWindow::backdropPieces(ScreenPiece* pieces) {
    int count = 0;
    if (mCoverBlur && gCoverBackground) {
        pieces[count++] = {
            mCoverBlur, playWindowBlurCrop(mCoverBlur->getWidth(), mCoverBlur->getHeight()), {0, 0, 0, 0}, 1};
        if (ZelmorSurface* veil = mVisBg ? mVisBg : mBgMask)
            pieces[count++] = {veil, {0, 0, 0, 0}, {0, 0, 0, 0}, 1};
    } else if (gBackground) {
        pieces[count++] = {gBackground, {0, 0, 0, 0}, {0, 0, 0, 0}, 1};
    }
    return count;
}

int MusicPlayWindow::stillPieces(ScreenPiece* pieces, int mode, bool playing, int focused, int v) {
    int count = 0;
    if (!mCover) {
        if (mDefaultCover)
            pieces[count++] = {mDefaultCover, {0, 0, 0, 0}, {kCoverX, kCoverY + v, kCoverBox, kCoverBox}, 0};
    } else {
        int sw = 0, sh = 0;
        getScaledSizeKeepRatio(mCover->getWidth(), mCover->getHeight(), kCoverBox, kCoverBox, sw, sh);
        pieces[count++] = {mCover,
                           {0, 0, 0, 0},
                           {kCoverX + (kCoverBox - sw) / 2, kCoverY + v + (kCoverBox - sh) / 2, sw, sh},
                           0};
    }

    auto pick = [focused](int id, ZelmorSurface* normal, ZelmorSurface* focus) {
        return focused == id ? focus : normal;
    };
    ZelmorSurface* modeN = mBtnSequenceN;
    ZelmorSurface* modeF = mBtnSequenceF;
    if (mode == PlayModeRandom) {
        modeN = mBtnRandomN;
        modeF = mBtnRandomF;
    } else if (mode == PlayModeSingleCycle) {
        modeN = mBtnSingleCycleN;
        modeF = mBtnSingleCycleF;
    }
    const struct {
        int x;
        ZelmorSurface* image;
        ZelmorSurface* hint;
        int hintX;
    } controls[] = {
        {585, pick(kControlPlayMode, modeN, modeF), mTipsX, 609},
        {705, pick(kControlPrev, mBtnPrevN, mBtnPrevF), mTipsL, 729},
        {825,
         playing ? pick(kControlPlayPause, mBtnPauseN, mBtnPauseF)
                 : pick(kControlPlayPause, mBtnPlayN, mBtnPlayF),
         mTipsStart, 825},
        {945, pick(kControlNext, mIcNextN, mIcNextF), mTipsR, 969},
        {1065, pick(kControlPlaylist, mBtnPlaylistN, mBtnPlaylistF), mTipsSelect, 1065},
    };
    for (const auto& control : controls) {
        if (control.image)
            pieces[count++] = placedAt(control.image, control.x, kControlsY + v);
        if (control.hint)
            pieces[count++] = placedAt(control.hint, control.hintX, kHintsY + v);
    }
    return count;
}

// Both layers or neither: a frame without them draws every piece itself. Layers made
// anew are composed by the next refresh.
bool MusicPlayWindow::haveLayers() {
    if (mBackdrop.surface && mStill.surface)
        return true;
    for (StillLayer* layer : {&mBackdrop, &mStill}) {
        release(layer->surface);
        layer->surface = CreateSurface(kScreenWidth, kScreenHeight);
        layer->count = -1;
    }
    if (!mBackdrop.surface || !mStill.surface) {
        release(mBackdrop.surface);
        release(mStill.surface);
        return false;
    }
    // Put on the screen by copying.
    mBackdrop.surface->setBlendMode(SDL_BLENDMODE_NONE);
    mStill.surface->setBlendMode(SDL_BLENDMODE_NONE);
    return true;
}

// Composes the layer from the pieces, over the layer under it or over black as the loop
// clears the screen, unless it already holds them; true when it composed.
bool MusicPlayWindow::refreshLayer(StillLayer& layer, const ScreenPiece* pieces, int count,
                                   const StillLayer* under) {
    if (layer.count == count && layer.imageGeneration == mImageGeneration &&
        std::equal(pieces, pieces + count, layer.pieces, samePiece))
        return false;
    std::copy(pieces, pieces + count, layer.pieces);
    layer.count = count;
    layer.imageGeneration = mImageGeneration;
    if (!layer.surface)
        return true;
    SDL_Rect whole = {0, 0, kScreenWidth, kScreenHeight};
    if (!under)
        FillRect(layer.surface, &whole, 0, 0, 0, 255);
    SetRenderTarget(layer.surface);
    if (under)
        under->surface->blit(nullptr, nullptr, 1, nullptr);
    for (int i = 0; i < count; ++i)
        drawPiece(pieces[i]);
    SetRenderTarget(nullptr);
    return true;
}

void MusicPlayWindow::putLayer(const StillLayer& layer) {
    if (layer.surface) {
        layer.surface->blit(nullptr, nullptr, 1, nullptr);
        return;
    }
    for (int i = 0; i < layer.count; ++i)
        drawPiece(layer.pieces[i]);
}

void MusicPlayWindow::putStill(VisRows canvasRows) {
    const int count = std::max(mStill.count, 0);
    bool again[kMaxStillPieces] = {};
    if (!mStill.surface) {
        putLayer(mBackdrop);
        std::fill(again, again + count, true);
    } else {
        putLayer(mStill);
        // The pieces the canvas reaches, and the pieces that overlap those: their areas
        // are taken back to the backdrop, so each piece over them is drawn again.
        for (int i = 0; i < count; ++i) {
            const SDL_Rect& place = mStill.pieces[i].place;
            again[i] = canvasRows.top < canvasRows.bottom && place.y < canvasRows.bottom &&
                       place.y + place.h > canvasRows.top;
        }
        for (bool grew = true; grew;) {
            grew = false;
            for (int i = 0; i < count; ++i)
                for (int j = 0; j < count && !again[i]; ++j)
                    if (again[j] && SDL_HasIntersection(&mStill.pieces[i].place, &mStill.pieces[j].place))
                        grew = again[i] = true;
        }
        for (int i = 0; i < count; ++i) {
            SDL_Rect area = mStill.pieces[i].place;
            if (again[i])
                mBackdrop.surface->blit(&area, &area, 1, nullptr);
        }
    }
    putVisCanvas(mVisCanvas, canvasRows);
    for (int i = 0; i < count; ++i)
        if (again[i])
            drawPiece(mStill.pieces[i]);
}
