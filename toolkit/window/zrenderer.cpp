// Whether a GL renderer is drawn by the GPU or rasterised on the CPU.
#include "zinternal.h"

#include <cstring>

namespace {

// GL_RENDERER of glGetString.
constexpr unsigned kGlRenderer = 0x1F01;

// The names under which GL drivers that rasterise on the CPU report themselves.
const char* const kCpuRasterisers[] = {"llvmpipe", "softpipe", "Software Rasterizer", "SwiftShader",
                                       "lavapipe"};

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
        if (strstr(reinterpret_cast<const char*>(name), rasteriser)) {
            tprintf("GL renderer %s draws on the CPU: using the software renderer\n", name);
            return true;
        }
    }
    return false;
}
