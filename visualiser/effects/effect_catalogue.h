// The catalogue of visual effects: every folder of the effects directory is one effect,
// and its name says which painter draws it ("fft..." the spectrum, "wave..." the
// waveform, case ignored). The selection outlives the screens, so the next now-playing
// screen starts with the effect last chosen; the configuration stores its index.
#pragma once

constexpr int kVisEffectsMax = 64;
constexpr int kVisNameBytes = 260;

// Kinds of effect, by name.
enum {
    kVisTypeNone = 0,
    kVisTypeSpectrum = 1,
    kVisTypeWave = 2,
};

// All of this is touched by the window thread alone.

// Folder names in readdir order; unused entries are zero.
extern char s_visEffects[kVisEffectsMax][kVisNameBytes];
extern int s_visEffectsCount;
// Index of the selected entry: the configuration's "visualization_index" until the
// first scan brings it into range; -1 while the catalogue is empty.
extern int s_curEffectIndex;
// Name of the selected effect: "fft1" before the first scan, then an entry of
// s_visEffects. It never points outside the table: with an empty catalogue it keeps
// what it held.
extern const char* s_curVis;
// Kind of the effect whose images are loaded.
extern int s_visType;
// Not 0: the next frame loads the selected effect's images.
extern int s_triggerVisLoad;

// Rebuilds the catalogue from the folders of dir (entries beginning with "." and
// non-folders skipped, at most kVisEffectsMax kept, "list add:%s\n" printed for each),
// clamps s_curEffectIndex into it and points s_curVis at the selection. The count.
int scanVisEffects(const char* dir);

// Moves the selection one effect forward (delta > 0) or backward, wrapping around, and
// asks the next frame to load it.
void stepVisEffect(int delta);

// The kind of an effect name: kVisTypeSpectrum, kVisTypeWave or kVisTypeNone (also
// for null).
int visTypeOf(const char* name);
