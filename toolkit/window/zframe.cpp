// The frames that the loop shows. While a pass draws, what goes to the screen is written
// down instead of drawn: the copies of textures, the fills and the texts, each with what
// decides its pixels. At the end of the pass the list is drawn and presented only when it
// differs from the list of the frame on screen, so a pass that changes nothing costs no
// drawing and no present, and a pass that paints nothing leaves the last frame standing.
// Texts are kept as texts, not as the cache's textures, so that a line the cache drops and
// renders again is still the same line.
#include "zinternal.h"

#include <cstring>
#include <pthread.h>
#include <string>
#include <time.h>
#include <vector>

int zwFramesShown = 0;

namespace {

enum class OpKind { Copy, Fill, Text };

struct ScreenOp {
    OpKind kind;
    SDL_Texture* texture; // Copy
    SDL_Rect source;      // Copy
    SDL_Rect area;        // Copy: destination; Fill: the rectangle; Text: the text's box
    bool wholeScreen;     // Fill without a rectangle
    SDL_BlendMode blend;
    SDL_Color color; // Copy: colour and alpha modulation; Fill, Text: the colour
    _TTF_Font* font; // Text
    int alignment;   // Text
    std::string text;
};

bool sameRect(const SDL_Rect& a, const SDL_Rect& b) {
    return a.x == b.x && a.y == b.y && a.w == b.w && a.h == b.h;
}

bool sameOp(const ScreenOp& a, const ScreenOp& b) {
    return a.kind == b.kind && a.texture == b.texture && sameRect(a.source, b.source) &&
           sameRect(a.area, b.area) && a.wholeScreen == b.wholeScreen && a.blend == b.blend &&
           memcmp(&a.color, &b.color, sizeof(SDL_Color)) == 0 && a.font == b.font &&
           a.alignment == b.alignment && a.text == b.text;
}

bool sameOps(const std::vector<ScreenOp>& a, const std::vector<ScreenOp>& b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (!sameOp(a[i], b[i]))
            return false;
    }
    return true;
}

// All of it belongs to the window thread.
std::vector<ScreenOp> sOps;   // the pass being drawn
std::vector<ScreenOp> sShown; // the frame on screen
bool sRecording = false;
bool sReplaying = false;
// The pass had to draw straight away (a texture it had copied went before the end of
// the pass): what is on the back buffer is the frame.
bool sDrawnDirectly = false;
// Set when the screen may no longer hold sShown, or a texture's pixels may have changed
// without its pointer changing: the next frame is shown whatever its list says.
bool sStale = true;

// The frames presented so far, for threads that wait for one.
pthread_mutex_t sShownLock = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t sShownSignal = PTHREAD_COND_INITIALIZER;
unsigned long sShownSerial = 0;

void drawOp(const ScreenOp& op) {
    switch (op.kind) {
    case OpKind::Copy: {
        SDL_BlendMode blend;
        Uint8 r, g, b, a;
        SDL_GetTextureBlendMode(op.texture, &blend);
        SDL_GetTextureColorMod(op.texture, &r, &g, &b);
        SDL_GetTextureAlphaMod(op.texture, &a);
        SDL_SetTextureBlendMode(op.texture, op.blend);
        SDL_SetTextureColorMod(op.texture, op.color.r, op.color.g, op.color.b);
        SDL_SetTextureAlphaMod(op.texture, op.color.a);
        SDL_RenderCopy(gZwRenderer, op.texture, &op.source, &op.area);
        SDL_SetTextureBlendMode(op.texture, blend);
        SDL_SetTextureColorMod(op.texture, r, g, b);
        SDL_SetTextureAlphaMod(op.texture, a);
        break;
    }
    case OpKind::Fill:
        SDL_SetRenderDrawBlendMode(gZwRenderer, op.blend);
        SDL_SetRenderDrawColor(gZwRenderer, op.color.r, op.color.g, op.color.b, op.color.a);
        SDL_RenderFillRect(gZwRenderer, op.wholeScreen ? nullptr : &op.area);
        break;
    case OpKind::Text:
        DrawString(op.font, op.area, op.text.c_str(), op.color, op.alignment, false, false);
        break;
    }
}

// Clears the screen and draws the list on it.
void drawOps(const std::vector<ScreenOp>& ops) {
    SetRenderTarget(nullptr);
    SDL_SetRenderDrawColor(gZwRenderer, 0, 0, 0, 255);
    SDL_RenderClear(gZwRenderer);
    sReplaying = true;
    for (const ScreenOp& op : ops)
        drawOp(op);
    sReplaying = false;
}

// Whether a draw call is to be written down: only during a pass, and only what goes to
// the screen; a texture being drawn into is drawn at once.
bool recordingScreen() {
    return sRecording && !sReplaying && !zwCurrentTarget();
}

} // namespace

void zwStartFrame() {
    // A window that left a texture as the target still draws on the screen.
    if (gZwRenderer)
        SetRenderTarget(nullptr);
    sOps.clear();
    sDrawnDirectly = false;
    sRecording = gZwRenderer != nullptr;
}

bool zwFinishFrame(bool animated) {
    sRecording = false;
    if (!gZwRenderer)
        return false;
    if (sDrawnDirectly) {
        sDrawnDirectly = false;
    } else {
        // Nothing painted: the screen keeps the last frame, which stays what it holds.
        if (sOps.empty())
            return false;
        if (!animated && !sStale && sameOps(sOps, sShown))
            return false;
        drawOps(sOps);
    }
    SDL_RenderPresent(gZwRenderer);
    sShown.swap(sOps);
    sOps.clear();
    sStale = false;
    ++zwFramesShown;
    pthread_mutex_lock(&sShownLock);
    ++sShownSerial;
    pthread_cond_broadcast(&sShownSignal);
    pthread_mutex_unlock(&sShownLock);
    return true;
}

unsigned long zwFrameSerial() {
    ZwLock guard(&sShownLock);
    return sShownSerial;
}

void zwWaitForFrameAfter(unsigned long serial, int timeoutMs, const std::atomic<bool>& giveUp) {
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    const long long ns = deadline.tv_nsec + timeoutMs * 1000000LL;
    deadline.tv_sec += static_cast<time_t>(ns / 1000000000LL);
    deadline.tv_nsec = static_cast<long>(ns % 1000000000LL);
    ZwLock guard(&sShownLock);
    while (sShownSerial <= serial && !giveUp.load(std::memory_order_acquire)) {
        if (pthread_cond_timedwait(&sShownSignal, &sShownLock, &deadline) != 0)
            break;
    }
}

void zwWakeFrameWaiters() {
    ZwLock guard(&sShownLock);
    pthread_cond_broadcast(&sShownSignal);
}

void zwInvalidateFrame() {
    sStale = true;
}

bool zwFrameOwed() {
    return sStale && gZwRenderer;
}

void zwNoteOffscreenDrawing() {
    // A texture's pixels change under the same pointer; a frame that copies it is new.
    sStale = true;
}

void zwForgetTexture(SDL_Texture* texture) {
    sStale = true; // a new texture may come to the same address
    if (!sRecording || !texture)
        return;
    bool used = false;
    for (const ScreenOp& op : sOps)
        used = used || op.texture == texture;
    if (!used)
        return;
    // The pass copied it and now lets it go: draw what the pass has so far while the
    // texture is still there, and let the rest of the pass draw straight away.
    drawOps(sOps);
    sRecording = false;
    sDrawnDirectly = true;
}

void zwRenderCopy(SDL_Texture* texture, const SDL_Rect& source, const SDL_Rect& destination) {
    if (!recordingScreen()) {
        SDL_RenderCopy(gZwRenderer, texture, &source, &destination);
        return;
    }
    ScreenOp op{};
    op.kind = OpKind::Copy;
    op.texture = texture;
    op.source = source;
    op.area = destination;
    SDL_GetTextureBlendMode(texture, &op.blend);
    SDL_GetTextureColorMod(texture, &op.color.r, &op.color.g, &op.color.b);
    SDL_GetTextureAlphaMod(texture, &op.color.a);
    sOps.push_back(op);
}

void zwRenderFill(const SDL_Rect* rect, SDL_Color color, SDL_BlendMode mode) {
    if (!gZwRenderer)
        return;
    if (!recordingScreen()) {
        SDL_SetRenderDrawBlendMode(gZwRenderer, mode);
        SDL_SetRenderDrawColor(gZwRenderer, color.r, color.g, color.b, color.a);
        SDL_RenderFillRect(gZwRenderer, rect);
        return;
    }
    ScreenOp op{};
    op.kind = OpKind::Fill;
    op.wholeScreen = rect == nullptr;
    if (rect)
        op.area = *rect;
    op.blend = mode;
    op.color = color;
    sOps.push_back(op);
}

bool zwRecordText(_TTF_Font* font, const SDL_Rect& rect, const char* text, SDL_Color color, int alignment) {
    if (!recordingScreen())
        return false;
    ScreenOp op{};
    op.kind = OpKind::Text;
    op.area = rect;
    op.color = color;
    op.font = font;
    op.alignment = alignment;
    op.text = text;
    sOps.push_back(std::move(op));
    return true;
}
