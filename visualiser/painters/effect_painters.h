// The two painters of the visual effects. Each paints one frame into the effect's
// 1280x720 canvas from the effect's images and the numbers the caller copied for this
// frame, and says which rows of the screen that frame covers; putVisCanvas then puts it
// on the screen's bottom edge, once the caller has drawn what lies under it. A missing
// image the painter needs leaves the frame without a canvas; the caller draws everything
// else as usual.
#pragma once

#include "zwindow.h"

// Spectrum constants: a band value of 6.0 raises the mask by the whole height of the
// foreground image.
constexpr int kVisBands = 48;
constexpr double kVisFullScale = 6.0;
// Waveform constants: 80 bars, 15 pixels apart, 1200 pixels wide in all.
constexpr int kWaveBars = 80;
constexpr int kWaveBarPitch = 15;
constexpr int kWaveRowWidth = 1200;
constexpr double kWaveGain = 384.0;

// The blend mode of the spectrum's eraser: colour = dst * dst, alpha = dstA * dstA -
// srcA * srcA. Opaque pixels of the mask cut holes into what the canvas holds.
int visEraserBlendMode();

// Screen rows [top, bottom) that a painted canvas covers; empty (top >= bottom) when
// the painter painted nothing.
struct VisRows {
    int top;
    int bottom;
};

// The lit foreground centred on the canvas's bottom edge, cut by one stamp of the mask
// per band, raised by the band's value, each followed by its peak marker (peak may be
// null). values and peaks hold kVisBands elements. Paints nothing when canvas, fg or
// mask is null.
VisRows paintSpectrumFrame(ZelmorSurface* canvas, ZelmorSurface* fg, ZelmorSurface* mask, ZelmorSurface* peak,
                           const double* values, const double* peaks);

// 80 bars of the sample image, growing up and down from a centre line, from the first
// 240 of the 2048 samples in wave (scaled to [-1, 1)). fg, when set, only places the
// centre line. Paints nothing when canvas or sample is null.
VisRows paintWaveformFrame(ZelmorSurface* canvas, ZelmorSurface* sample, ZelmorSurface* fg, const double* wave);

// Blends the rows of the canvas that the painter reported onto the screen.
void putVisCanvas(ZelmorSurface* canvas, VisRows rows);

// Bar height and top of one waveform point, from the sum of its two samples; split out
// so that the rounding is tested.
void waveformBar(double point, int centre, int* top, int* height);
