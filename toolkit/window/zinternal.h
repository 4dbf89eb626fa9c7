// Internals of the toolkit stand-in shared between its source files.
#pragma once

#include "zwindow.h"

#include <SDL2/SDL.h>
#include <atomic>
#include <pthread.h>
#include <unistd.h>

// The device's screen; any desktop window shows it whole, scaled.
constexpr int kZwScreenWidth = 1280;
constexpr int kZwScreenHeight = 720;

extern SDL_Window* gZwWindow;
extern SDL_Renderer* gZwRenderer;

class ZwSurface : public ZelmorSurface {
public:
    ZwSurface(SDL_Texture* texture, int width, int height, SDL_Surface* image, bool target);
    ~ZwSurface() override;
    void setBlendMode(int mode) override;
    void setAlphaMod(Uint8 alpha) override;
    void setColorMod(Uint8 r, Uint8 g, Uint8 b) override;
    void* getNativeHandle() override;
    void blit(SDL_Rect* src, SDL_Rect* dst, int flag, void* reserved) override;
    int getWidth() override;
    int getHeight() override;
    void* getPixels(int* pitch, int* bytesPerPixel, int* width, int* height) override;

    void eraseWith(SDL_Surface* stamp, const SDL_Rect& source, const SDL_Rect& destination);

    SDL_Texture* mTexture;
    int mWidth;
    int mHeight;
    SDL_Surface* mImage; // CPU copy of an image, ARGB8888; null for render targets
    bool mTarget;        // can be a render target
    bool mSoftwareEraser = false;
    void* mPixels = nullptr; // the block getPixels handed out last
    // A picture larger than the screen is decoded at 1/2, 1/4 or 1/8 of its size: the
    // texture and mImage are that much smaller, while mWidth, mHeight and source
    // rectangles keep the image's own size. mSource names its file while it may be
    // decoded again at a larger scale.
    int mReduction = 1;
    std::string mSource;
};

ZwSurface* zwSurfaceFromImage(SDL_Surface* image);
// Decodes an image file as an ARGB8888 surface at 1/*reduction of its size, or with
// *reduction 0 at the divisor zwReduction gives: JPEG through libjpeg-turbo, PNG
// through libspng, anything else (or anything those cannot read) through SDL_image,
// whole. *width and *height receive the image's own size, *reduction the divisor. Null
// for a file that is no image, or a picture too large to decode.
SDL_Surface* zwDecodeImage(const char* path, int* width, int* height, int* reduction);
// The divisor (1, 2, 4 or 8) at which an image of w x h is decoded: 1 when it fits the
// screen, else the largest that keeps its longer side at least the cover box's 400.
int zwReduction(int w, int h);
// Before a reduced image is drawn from source into destination: decodes it again at a
// larger scale when its pixels behind source are fewer than destination's.
void zwSharpen(ZwSurface* surface, const SDL_Rect& source, const SDL_Rect& destination);
ZwSurface* zwCurrentTarget();
void zwReleaseTextCache();
// Lines rendered from glyphs so far; cached lines do not count.
extern int zwTextRenders;

// Frames (zframe.cpp). During a pass of the loop, what is drawn on the screen is written
// down; zwFinishFrame draws and presents it only when it differs from the frame on screen,
// or, for a window that animates, whenever the pass painted anything. Window thread only.
void zwStartFrame();
// True when a frame was presented.
bool zwFinishFrame(bool animated);
// Frames presented by the loop so far.
extern int zwFramesShown;
// For other threads: the number of frames presented so far, and a wait, at most timeoutMs,
// until a frame after that number has been presented or giveUp is set (then call
// zwWakeFrameWaiters).
unsigned long zwFrameSerial();
void zwWaitForFrameAfter(unsigned long serial, int timeoutMs, const std::atomic<bool>& giveUp);
void zwWakeFrameWaiters();
// The screen may no longer show the last frame (a new renderer, an exposed window, fonts
// loaded again): the next pass presents whatever it paints.
void zwInvalidateFrame();
// True while the screen may not show the windows' frame (nothing shown yet, or exposed
// again): a pass is due whatever the input.
bool zwFrameOwed();
// A render target is about to be drawn into: its pixels change under the same pointer.
void zwNoteOffscreenDrawing();
// A texture goes away; a pass that copied it to the screen draws what it has at once.
void zwForgetTexture(SDL_Texture* texture);
// Draw calls on the current target: written down while a pass draws on the screen,
// drawn at once otherwise.
void zwRenderCopy(SDL_Texture* texture, const SDL_Rect& source, const SDL_Rect& destination);
void zwRenderFill(const SDL_Rect* rect, SDL_Color color, SDL_BlendMode mode);
// True when the text was written down for the pass; the caller then draws nothing.
bool zwRecordText(_TTF_Font* font, const SDL_Rect& rect, const char* text, SDL_Color color, int alignment);

// Ends the window loop's wait from another thread (a loader that published rows or moved
// the cursor), so that a pass shows the change.
void zwWakeLoop();

// True when the renderer draws through a GL driver that rasterises on the CPU.
bool zwGlDrawsOnCpu(SDL_Renderer* renderer);
// Opens the screen's window and makes its renderer (zrenderer.cpp); null on failure, when
// *window may still hold a window to destroy.
SDL_Renderer* zwOpenScreen(int width, int height, SDL_Window** window);

// Blocks of storage owned by the rows of one folder (row_block.cpp). A load opens one on
// its thread before it has file_handler make the folder's rows and closes it after: rows
// and actions made meanwhile on that thread are cut from it, and it is unmapped when the
// load has closed it and the last of them is deleted, on whatever thread.
struct ZwRowBlock;
ZwRowBlock* zwOpenRowBlock();
void zwCloseRowBlock(ZwRowBlock* block);
// Bytes taken by rows and actions in the blocks still mapped.
size_t zwRowBlockBytes();
void* zwNewRowObject(size_t size);
void zwDeleteRowObject(void* object, size_t size);

// Holds a pthread mutex for the rest of the scope.
class ZwLock {
public:
    explicit ZwLock(pthread_mutex_t* mutex) : mMutex(mutex) { pthread_mutex_lock(mMutex); }
    ~ZwLock() { pthread_mutex_unlock(mMutex); }
    ZwLock(const ZwLock&) = delete;
    ZwLock& operator=(const ZwLock&) = delete;

private:
    pthread_mutex_t* mMutex;
};

// The window whose draw the loop is running; null outside the loop's drawing.
extern ZelmorWindow* gZwDrawingWindow;
class FileBrowserMenu;
// The title bar's folder trail: for a browser's root and the folder it shows, the
// folders below the root ("› Sub › Folder"); empty at the root. A folder outside the
// root shows its whole path.
std::string zwNavTrail(const std::string& root, const std::string& dir);
// Draws the trail of the window's browser in its title bar, if it has one.
void zwDrawNavTrail(ZelmorWindow* window);
// A browser draws inside the window being drawn, which makes it that window's; trailOf
// gives a browser's trail at the moment the title bar is drawn.
void zwNoteBrowserDrawn(FileBrowserMenu* browser, std::string (*trailOf)(FileBrowserMenu* browser));
// A browser or a window goes away (either may be null).
void zwForgetTrailOwner(FileBrowserMenu* browser, ZelmorWindow* window);

// Draws a surface at its natural size with its top left corner at x, y; null draws nothing.
void zwBlitAt(ZelmorSurface* surface, int x, int y);

// The index one step (delta 1 or -1) from index in a list of count, wrapping at the
// ends, as a short pad list is expected to.
inline int zwWrapStep(int index, int delta, int count) {
    if (count <= 0)
        return 0;
    int next = index + delta;
    return next < 0 ? count - 1 : (next >= count ? 0 : next);
}

// Maps one SDL event to a key code, or kKeyNone; tracks held directions for repeats,
// opens gamepads that are plugged in.
int zwKeyFromEvent(const SDL_Event& event);
// The held direction when its repeat is due; otherwise kKeyNone, with *waitMs lowered to
// the time until it is due.
int zwRepeatKey(Uint32 now, Sint32* waitMs);
// Starts SDL's game controller mapping once the program has started the joysticks.
void zwStartGamepads();
