// The window runtime that the screens are written against: windows and their loop,
// key codes and window results, surfaces and drawing, fonts and colours published as
// globals, language strings, and the shared key table. The declarations keep the
// names, signatures, virtual slot order and field order of the device's toolkit, so
// the program links against either.
#pragma once

#include "zcommon.h"

#include <SDL2/SDL.h>
#include <string>
#include <vector>

struct _TTF_Font;
struct cJSON;

// Key codes reported by wait_event and the menus' eventHandling.
enum {
    kKeyNone = 0,
    kKeyPrimary = 1,
    kKeySecondary = 2,
    kKeyX = 3,
    kKeyY = 4,
    kKeyUp = 5,
    kKeyDown = 6,
    kKeyLeft = 7,
    kKeyRight = 8,
    kKeyStart = 9,
    kKeySelect = 10,
    kKeyMenu = 11,
    kKeyL = 12,
    kKeyR = 13,
    kKeyL2 = 14,
    kKeyR2 = 15,
};

// Window results with a meaning to the loop; any other value asks nothing of it.
enum {
    kWinResultClose = 1002,
    kWinResultQuit = 1003,
    kWinResultPopup = 1005,
};

// Shared key that swaps the confirm and back roles of kKeyPrimary and kKeySecondary.
enum { kShmKeySwapButtons = 19 };

// An image or render target, always held by pointer and released with delete.
class ZelmorSurface {
public:
    virtual ~ZelmorSurface() {}
    virtual void setBlendMode(int mode) = 0;
    // Three operations that the program does not call; the stand-in uses them for
    // alpha and colour modulation and for reaching the texture.
    virtual void setAlphaMod(Uint8 alpha) = 0;
    virtual void setColorMod(Uint8 r, Uint8 g, Uint8 b) = 0;
    virtual void* getNativeHandle() = 0;
    // Flag 1: natural size at dst's x and y (dst w and h ignored). Flag 0: stretched
    // into dst. Null src: the whole surface; null dst: the whole render target.
    virtual void blit(SDL_Rect* src, SDL_Rect* dst, int flag, void* reserved) = 0;
    virtual int getWidth() = 0;
    virtual int getHeight() = 0;
    // In: proposed pitch, bytes per pixel, width and height; out: what was delivered.
    virtual void* getPixels(int* pitch, int* bytesPerPixel, int* width, int* height) = 0;
};

// Base of all screens.
class ZelmorWindow {
public:
    ZelmorWindow(int titleId, int kind);
    virtual ~ZelmorWindow();
    virtual int eventHandling();
    virtual int draw();
    virtual void quit();
    virtual void init();
    virtual void saveState(cJSON* state);
    virtual int restoreState(cJSON* state);
    virtual void refresh();
    virtual void enterAnim();
    virtual void exitAnim();
    virtual const char* getTitle();
    // Floating windows (popups, dialogs) are drawn over the window beneath them. Not a
    // virtual of the device's toolkit; it follows the slots the program overrides.
    virtual bool isFloating();

    // Title bar with the window's title.
    int drawNavBar(int flags);
    // Status bar; returns the x at which draw_stat_icon_item_left may continue.
    int drawStatBar(int flags);

    int mTitleId;
    int mKind;
};

// Window loop.
// Runs the loop until a window quits; the windows left on the stack are deleted then.
void runWindows(std::vector<ZelmorWindow*>& windows);
int wait_event(SDL_Event* event);
void add2PopupList(ZelmorWindow* window);
void setZelmorWindowFps(int fps, int maxFps);
// One pass of the loop: the top window's input, the result acted on, the frame drawn.
// Returns the top window's result, or kWinResultQuit when the loop is to end.
int runWindowsStep(std::vector<ZelmorWindow*>& windows);
// The browser of the top window registers here to enter the folder that a row's
// USER_EVENT_OPEN_FOLDER names; wait_event calls it with the event's path text.
extern int (*gFolderEventHandler)(const char* path);

// Screen.
int ScreenInit(int width, int height, int depth, int flags);
void ScreenUninit();
void ScreenUpdateAndFlip();

// Surfaces and drawing.
ZelmorSurface* LoadZelmorSurface(const char* themeDir, const char* appDir, const char* file);
ZelmorSurface* CreateSurface(int width, int height);
ZelmorSurface* CreateFromPixels(void* pixels, int width, int height, int depth, int pitch, unsigned redMask,
                                unsigned greenMask, unsigned blueMask, unsigned alphaMask);
void SetRenderTarget(ZelmorSurface* target);
void FillRect(ZelmorSurface* surface, SDL_Rect* rect, Uint8 r, Uint8 g, Uint8 b, Uint8 a);
void ClearRect(ZelmorSurface* surface, SDL_Rect* rect, Uint8 r, Uint8 g, Uint8 b, Uint8 a);
void DrawString(_TTF_Font* font, SDL_Rect rect, const char* text, SDL_Color color, int alignment, bool flag1,
                bool flag2);
void getScaledSizeKeepRatio(int srcWidth, int srcHeight, int boxWidth, int boxHeight, int& outWidth,
                            int& outHeight);
int draw_stat_icon_item_left(ZelmorSurface* icon, int x, int y, const char* label);
void init_shared_skin();
void uninit_shared_skin();

// Skin globals published by the toolkit; like every window, surface and font, they
// belong to the window thread.
extern ZelmorSurface* gBackground;
extern ZelmorSurface* gIconFolder;
extern _TTF_Font* gListFontTxt;
extern _TTF_Font* gNavFont;
extern _TTF_Font* gStatFont;
extern _TTF_Font* gPopupFontTitle;
extern SDL_Color gListColorTxt;
extern std::vector<ZelmorWindow*>* gWinList;

// Language.
extern std::vector<std::string> gDefaultStringList;
void initLang();
const char* getLangStr(int id);

// Network monitor of the device; the stand-in only logs.
void rx_wifi_monitor_start();
void rx_wifi_monitor_stop();

// Names that the program defines and the toolkit uses.
extern char* gThemePath;
int file_filter(const char* name, const char* other);
class TextMenuItem;
TextMenuItem* file_handler(const char* name, const char* path, int type);
void initJoyStick();
