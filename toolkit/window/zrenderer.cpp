// Which of SDL's renderers draws the screen: GLES2 where a GPU draws it (the device's
// GPU speaks it, and it takes the eraser blend mode); SDL's software renderer where the
// only GL is rasterised on the CPU (Mesa's llvmpipe on machines without a GPU and most
// virtual machines), which costs several times as much for the same screens; whatever
// SDL_RENDER_DRIVER names in any case.
#include "zinternal.h"

#include <cstring>
#include <glob.h>

namespace {

// GL_RENDERER of glGetString.
constexpr unsigned kGlRenderer = 0x1F01;

// The names under which GL drivers that rasterise on the CPU report themselves.
const char* const kCpuRasterisers[] = {"llvmpipe", "softpipe", "Software Rasterizer", "SwiftShader",
                                       "lavapipe"};

// The device nodes through which a GPU is reached: DRM, and the drivers of embedded
// GPUs that have nodes of their own.
const char* const kGpuNodes[] = {"/dev/dri/renderD*", "/dev/dri/card*", "/dev/mali*",        "/dev/galcore",
                                 "/dev/pvr*",         "/dev/kgsl*",     "/dev/nvidia[0-9]*", "/dev/dxg"};

bool hasGpuNode() {
    for (const char* pattern : kGpuNodes) {
        glob_t found;
        bool any = glob(pattern, 0, nullptr, &found) == 0 && found.gl_pathc > 0;
        globfree(&found);
        if (any)
            return true;
    }
    return false;
}

int gles2Driver() {
    for (int i = 0; i < SDL_GetNumRenderDrivers(); ++i) {
        SDL_RendererInfo info;
        if (SDL_GetRenderDriverInfo(i, &info) == 0 && strcmp(info.name, "opengles2") == 0)
            return i;
    }
    return -1;
}

SDL_Window* openWindow(int width, int height) {
    return SDL_CreateWindow("musicplayer", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, width, height,
                            SDL_WINDOW_RESIZABLE);
}

// SDL's software renderer shows its pixels through the window's own rather than through
// a texture of a GL renderer, which would be drawn on the CPU as well. A user's own
// setting of the hint still wins.
void drawSoftwareStraightIntoTheWindow() {
    SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");
}

} // namespace

bool zwGlDrawsOnCpu(SDL_Renderer* renderer) {
    SDL_RendererInfo info;
    if (!renderer || SDL_GetRendererInfo(renderer, &info) != 0 || strncmp(info.name, "opengl", 6) != 0)
        return false;
    // The renderer's context is current on this thread right after it was made.
    using GetString = const unsigned char* (*)(unsigned);
    auto getString = reinterpret_cast<GetString>(SDL_GL_GetProcAddress("glGetString"));
    const unsigned char* name = getString ? getString(kGlRenderer) : nullptr;
    if (!name)
        return false;
    for (const char* rasteriser : kCpuRasterisers) {
        if (strstr(reinterpret_cast<const char*>(name), rasteriser))
            return true;
    }
    return false;
}

SDL_Renderer* zwOpenScreen(int width, int height, SDL_Window** window) {
    const Uint32 wanted = SDL_RENDERER_TARGETTEXTURE;
    const bool named = SDL_GetHint(SDL_HINT_RENDER_DRIVER) != nullptr;
    const bool gpu = hasGpuNode();
    if (!gpu)
        drawSoftwareStraightIntoTheWindow();
    *window = openWindow(width, height);
    if (!*window)
        return nullptr;
    SDL_Renderer* renderer = nullptr;
    // Without a GPU any GL would be drawn on the CPU: unless named, it is not even loaded.
    if (named || gpu) {
        renderer = SDL_CreateRenderer(*window, named ? -1 : gles2Driver(), SDL_RENDERER_ACCELERATED | wanted);
        if (!renderer)
            renderer = SDL_CreateRenderer(*window, -1, SDL_RENDERER_ACCELERATED | wanted);
        if (renderer && !named && zwGlDrawsOnCpu(renderer)) {
            tprintf("GL is drawn on the CPU here: SDL's software renderer draws the screen\n");
            SDL_DestroyRenderer(renderer);
            SDL_DestroyWindow(*window);
            renderer = nullptr;
            drawSoftwareStraightIntoTheWindow();
            *window = openWindow(width, height); // one that never had a GL context
            if (!*window)
                return nullptr;
        }
    }
    if (!renderer)
        renderer = SDL_CreateRenderer(*window, -1, SDL_RENDERER_SOFTWARE | wanted);
    return renderer;
}
