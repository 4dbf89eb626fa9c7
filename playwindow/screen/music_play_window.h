// The now-playing screen: cover, blurred cover background, track texts, progress bar,
// the row of transport controls and the visual effect of the track the service plays.
// It keeps no playback state that matters: it shows what the status record holds and
// sends what the keys ask for. A window is made on each entry and destroyed on each
// exit, and owns the spectrum analysis for its lifetime.
#pragma once

#include "visualiser/painters/effect_painters.h"
#include "zwindow.h"

#include <SDL2/SDL.h>
#include <string>
#include <vector>

// Focus identifiers of the on-screen controls.
enum {
    kControlProgress = 1,
    kControlPlayMode = 2,
    kControlPrev = 3,
    kControlPlayPause = 4,
    kControlNext = 5,
    kControlPlaylist = 6,
};

// One image as a frame draws it: source onto place with a blit flag; a rectangle of
// width 0 stands for the whole image or the whole target. A placed piece's rectangle is
// the area it covers.
struct ScreenPiece {
    ZelmorSurface* image;
    SDL_Rect source;
    SDL_Rect place;
    int flag;
};

// A screen-sized picture composed once from still pieces and put on the screen whole
// until the pieces, or the images behind them, change.
constexpr int kMaxStillPieces = 11;
struct StillLayer {
    ZelmorSurface* surface = nullptr;
    ScreenPiece pieces[kMaxStillPieces];
    int count = -1; // pieces it was composed from; -1 before the first
    int imageGeneration = -1;
};

class MusicPlayWindow : public ZelmorWindow {
public:
    // listType: the list the service plays from (recorded only); playing: recorded
    // only; showIdleMessage: show "Nothing is playing" when the status names no track.
    MusicPlayWindow(int listType, bool playing, bool showIdleMessage);
    ~MusicPlayWindow() override;
    int eventHandling() override;
    int draw() override;
    void quit() override;
    void init() override;
    void saveState(cJSON* state) override;
    int restoreState(cJSON* state) override;
    void refresh() override;
    void enterAnim() override;
    void exitAnim() override;
    const char* getTitle() override;

    // Loads the images of the selected visual effect into the canvas fields.
    void loadVis();

private:
    // Frame steps: a new track's cover and its blur, the visual effect, the bar.
    void changeTrack(const std::string& path);
    void makeCoverBlur();
    VisRows drawVisualiser();
    void drawProgress(int percentage, bool focused, int y);
    int focusedControl() const;
    // The still layers: their pieces, composing them, and putting them on the screen.
    int backdropPieces(ScreenPiece* pieces);
    int stillPieces(ScreenPiece* pieces, int mode, bool playing, int focused, int v);
    bool haveLayers();
    bool refreshLayer(StillLayer& layer, const ScreenPiece* pieces, int count, const StillLayer* under);
    void putLayer(const StillLayer& layer);
    void putStill(VisRows canvasRows);
    // Key steps.
    int leaveResult() const;
    void togglePlayback(const std::string& status);
    void nextPlayMode();
    void stepVolume(int delta);
    void seekPress(int delta);

public:

    ZelmorSurface* mCover;
    ZelmorSurface* mDefaultCover;
    ZelmorSurface* mCoverBlur;
    ZelmorSurface* mBgMask;
    ZelmorSurface* mProgressBgN;
    ZelmorSurface* mSliderLeftN;
    ZelmorSurface* mSliderRightN;
    ZelmorSurface* mSliderMiddleN;
    ZelmorSurface* mBtnRandomN;
    ZelmorSurface* mBtnSequenceN;
    ZelmorSurface* mBtnSingleCycleN;
    ZelmorSurface* mBtnPlayN;
    ZelmorSurface* mBtnPauseN;
    ZelmorSurface* mIcNextN;
    ZelmorSurface* mBtnPrevN;
    ZelmorSurface* mBtnAddedFavoriteN;
    ZelmorSurface* mBtnAddFavoriteN;
    ZelmorSurface* mBtnPlaylistN;
    ZelmorSurface* mProgressBgF;
    ZelmorSurface* mSliderLeftF;
    ZelmorSurface* mSliderRightF;
    ZelmorSurface* mSliderMiddleF;
    ZelmorSurface* mBtnRandomF;
    ZelmorSurface* mBtnSequenceF;
    ZelmorSurface* mBtnSingleCycleF;
    ZelmorSurface* mBtnPlayF;
    ZelmorSurface* mBtnPauseF;
    ZelmorSurface* mIcNextF;
    ZelmorSurface* mBtnPrevF;
    ZelmorSurface* mBtnAddedFavoriteF;
    ZelmorSurface* mBtnAddFavoriteF;
    ZelmorSurface* mBtnPlaylistF;
    ZelmorSurface* mVisCanvas;
    ZelmorSurface* mVisBg;
    ZelmorSurface* mVisFg;
    ZelmorSurface* mVisFgMask;
    ZelmorSurface* mVisSample;
    ZelmorSurface* mVisPeak;
    ZelmorSurface* mTipsX;
    ZelmorSurface* mTipsL;
    ZelmorSurface* mTipsStart;
    ZelmorSurface* mTipsR;
    ZelmorSurface* mTipsSelect;
    char mTimeText[64];
    int mFocusCol;
    int mFocusRow;
    std::vector<int> mFocusRows[3];
    int mListType;
    double mFftValue[48];
    double mFftPeak[48];
    double mWave[2048];
    bool mFftReady;
    bool mPlaying;
    bool mShowIdleMessage;
    std::string mCurPath;
    int mPosition;
    int mDuration;
    SDL_TimerID mForwardTimer;
    int mForwardCount;
    SDL_TimerID mBackwardTimer;
    int mBackwardCount;

private:
    // The background with its veil, and that with the cover, controls and hints on it.
    StillLayer mBackdrop;
    StillLayer mStill;
    // Counts replacements of images the layers draw (a new cover or effect), which may
    // come back at the address of the ones they replace.
    int mImageGeneration = 0;
};

// The first existing image beside the track (its base name with .jpg, .jpeg, .png,
// .bmp, .JPG, .PNG or .BMP, in that order), in a static 260-byte buffer; null when
// there is none or the name does not fit.
const char* getUserCoverPath(std::string path);
