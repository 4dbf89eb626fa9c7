#include "visualiser/painters/effect_painters.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kScreenHeight = 720;

// Rows of the canvas that the last frame painted; every other row is still transparent
// from the clear that loadVis or an earlier frame made, so that clearing these rows
// gives the same canvas as clearing all of it, at a fraction of the price. A canvas
// that is not the one recorded is cleared whole.
ZelmorSurface* sPaintedCanvas = nullptr;
int sPaintedTop = 0;
int sPaintedBottom = 0;

void clearCanvas(ZelmorSurface* canvas) {
    const int cw = canvas->getWidth(), ch = canvas->getHeight();
    int top = 0, bottom = ch;
    if (canvas == sPaintedCanvas) {
        top = std::max(0, sPaintedTop);
        bottom = std::min(ch, sPaintedBottom);
    }
    if (top < bottom) {
        SDL_Rect rows = {0, top, cw, bottom - top};
        ClearRect(canvas, &rows, 0, 0, 0, 0);
    }
}

// Records the canvas rows [top, bottom) as painted; the rows above are transparent, so
// leaving them out of the blend changes no pixel and spares the renderer most of a
// full-screen blend.
VisRows notePainted(ZelmorSurface* canvas, int top, int bottom) {
    const int ch = canvas->getHeight();
    top = std::max(0, top);
    bottom = std::min(ch, bottom);
    sPaintedCanvas = canvas;
    sPaintedTop = top;
    sPaintedBottom = bottom;
    return {kScreenHeight - ch + top, kScreenHeight - ch + bottom};
}

} // namespace

int visEraserBlendMode() {
    return static_cast<int>(SDL_ComposeCustomBlendMode(SDL_BLENDFACTOR_ZERO, SDL_BLENDFACTOR_DST_COLOR,
                                                       SDL_BLENDOPERATION_ADD, SDL_BLENDFACTOR_SRC_ALPHA,
                                                       SDL_BLENDFACTOR_DST_ALPHA, SDL_BLENDOPERATION_REV_SUBTRACT));
}

void putVisCanvas(ZelmorSurface* canvas, VisRows rows) {
    if (!canvas || rows.top >= rows.bottom)
        return;
    const int cw = canvas->getWidth(), ch = canvas->getHeight();
    SDL_Rect part = {0, rows.top - (kScreenHeight - ch), cw, rows.bottom - rows.top};
    SDL_Rect onScreen = {0, rows.top, cw, rows.bottom - rows.top};
    canvas->blit(&part, &onScreen, 1, nullptr);
}

VisRows paintSpectrumFrame(ZelmorSurface* canvas, ZelmorSurface* fg, ZelmorSurface* mask, ZelmorSurface* peak,
                           const double* values, const double* peaks) {
    if (!canvas || !fg || !mask)
        return {0, 0};
    const int cw = canvas->getWidth(), ch = canvas->getHeight();
    const int fw = fg->getWidth(), fh = fg->getHeight();
    const int mw = mask->getWidth(), mh = mask->getHeight();
    const int pw = peak ? peak->getWidth() : 0, ph = peak ? peak->getHeight() : 0;

    mask->setBlendMode(visEraserBlendMode());
    canvas->setBlendMode(SDL_BLENDMODE_BLEND);
    clearCanvas(canvas);
    SetRenderTarget(canvas);

    const int x0 = (cw - fw) / 2, y0 = ch - fh;
    SDL_Rect at = {x0, y0, fw, fh};
    fg->blit(nullptr, &at, 1, nullptr);
    // Rows above the highest thing painted stay transparent: they need not be blended.
    int top = y0;
    for (int b = 0; b < kVisBands; ++b) {
        const int x = x0 + b * mw;
        const int bar = static_cast<int>(fh * values[b] / kVisFullScale);
        SDL_Rect stamp = {x, (ch - mh) + fh - bar, mw, mh};
        mask->blit(nullptr, &stamp, 1, nullptr);
        if (peak) {
            const int p = static_cast<int>(fh * peaks[b] / kVisFullScale);
            // A marker lower than its own height would sit on the floor: not drawn.
            if (p > ph) {
                SDL_Rect marker = {x + (mw - pw) / 2, ch - p - ph, pw, ph};
                peak->blit(nullptr, &marker, 1, nullptr);
                top = std::min(top, marker.y);
            }
        }
    }

    SetRenderTarget(nullptr);
    return notePainted(canvas, top, ch);
}

void waveformBar(double point, int centre, int* top, int* height) {
    const int a = static_cast<int>(std::fabs(point));
    if (a > 3) {
        *height = a;
        *top = centre - a / 2;
    } else {
        // Silence still shows a thin row.
        *height = 4;
        *top = centre - 2;
    }
}

VisRows paintWaveformFrame(ZelmorSurface* canvas, ZelmorSurface* sample, ZelmorSurface* fg, const double* wave) {
    if (!canvas || !sample)
        return {0, 0};
    double points[kWaveBars];
    // Two of every three samples from the start of the tap.
    for (int i = 0; i < kWaveBars; ++i)
        points[i] = (wave[3 * i] + wave[3 * i + 1]) * kWaveGain * 0.5;

    const int cw = canvas->getWidth(), ch = canvas->getHeight();
    const int sw = sample->getWidth();
    const int fh = fg ? fg->getHeight() : ch;

    canvas->setBlendMode(SDL_BLENDMODE_BLEND);
    clearCanvas(canvas);
    SetRenderTarget(canvas);

    const int centre = (ch - fh) + fh / 2;
    int x = (cw - kWaveRowWidth) / 2 - (sw - kWaveBarPitch) / 2;
    int highest = ch, lowest = 0;
    for (int i = 0; i < kWaveBars; ++i) {
        int top, height;
        waveformBar(points[i], centre, &top, &height);
        SDL_Rect bar = {x, top, sw, height};
        sample->blit(nullptr, &bar, 0, nullptr);
        highest = std::min(highest, top);
        lowest = std::max(lowest, top + height);
        x += kWaveBarPitch;
    }

    SetRenderTarget(nullptr);
    return notePainted(canvas, highest, lowest);
}
