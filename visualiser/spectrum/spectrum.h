// Spectrum analysis of the wave tap: the service leaves 2048 signed 16-bit samples at
// the start of a mapped file; a thread turns them about thirty times a second into 48
// band values and 48 falling peak markers, which the effects read under sFFTLock.
#pragma once

#include <atomic>
#include <cstdint>
#include <fftw3.h>
#include <pthread.h>

constexpr int kTapMapBytes = 16384;
constexpr int kTapSamples = 2048;
constexpr int kSpectrumBands = 48;
// Floor of a band with no energy: a denormal just above zero.
constexpr double kSpectrumFloor = 1.7e-308;

// The tap mapping, the transform buffers and the plan: set up and torn down by the window
// thread (initVisualizer, stopVisualizer) while the analysis thread is not running, used
// by that thread alone in between. s_fft_value and s_fft_peak: written by the analysis
// thread, copied by the window thread, both under sFFTLock, which is held for copies and
// the peak decay only and never together with the status record's lock.
extern const int16_t* s_shm_wave;
extern fftw_complex* s_in;
extern fftw_complex* s_out;
extern fftw_plan s_plan;
extern double s_fft_value[128];
extern double s_fft_peak[128];
extern double s_freq_bin[49];
extern double s_gforce_table[105];
extern int s_gforce_count;
extern std::atomic<unsigned char> sFFTThreadRunning;
extern pthread_t sFFTThread;
extern pthread_mutex_t sFFTLock;

// Maps the tap, sets the arrays up and starts the analysis thread: 0, or -1 when the
// tap is missing, shorter than the 4096 bytes read, or not mappable.
int initVisualizer(int unused);
// Stops the thread, unmaps the tap and frees the transform buffers, in that order.
void stopVisualizer();
// Measures the transform plan on a thread of its own, so that the first
// initVisualizer finds the plan in FFTW's wisdom. Call once, early in start-up.
void prewarmVisualizer();
// Whether the plan measured by prewarmVisualizer is in the wisdom.
bool visualizerPrewarmed();

void do_fft();
void* fft_thread(void* unused);

// Copies the 2048 tap samples out of the mapping; a tap truncated under the mapping
// reads as silence instead of raising SIGBUS. 0, or -1 when nothing could be read.
int readTapSamples(int16_t* samples);

// Sets the published arrays to the floor and fills the band edges and the ladder (the
// set-up steps after the mapping); initVisualizer runs it, tests drive frames with it.
void spectrumResetTables();

// One rung down the ladder for a peak marker; the new peak from a value, the peak just
// decayed and the boost table.
double spectrumPeakFall(double peak);
double spectrumNewPeak(double value, double decayedPeak);
