// What the audio device receives. SDL's audio callback takes the frames the decode thread
// put in the ring, fades them out and in over a few milliseconds around every cut (pause,
// resume, stop, seek, a new track, the ring running dry) so that no cut clicks, applies
// the volume, and keeps the tap and the recording. It never locks, allocates or touches
// a file.
#pragma once

#include "musicservice/sample_ring.h"

#include <cstdint>

enum PlayerState { kPlayerStopped = 0, kPlayerPaused = 1, kPlayerPlaying = 2 };

// Opens the default audio device (SDL's dummy driver when none opens) to play from the
// ring, paused; record: keep every buffer for outputTakeRecorded. lost is called (from
// SDL's thread) when the device goes away. 0 or -1.
int outputOpen(SampleRing* ring, bool record, void (*lost)());
// Closes the device and opens the default one, which may be another now: 0, or -1 when
// none opens (there is then no device until outputReady finds one).
int outputReopen();
// 0 when there is a device, opening the default one when there is none; else -1.
int outputReady();
void outputClose();

// Playing takes frames from the ring; paused hands silence to the device (and to the
// recording); stopped also pauses the device, once the sound has faded out.
void outputSetState(PlayerState state);
PlayerState outputState();
// Called on the decode thread from time to time: a device paused or stopped for a few
// seconds is closed, so that SDL's audio thread stops handing it silence (a paused
// handheld then costs nothing); the next state that sounds opens it again.
void outputCloseWhenIdle();
// After a discard: returns once room frames are free in the ring, which may take the
// callback letting go of the frames before the mark (fading them out and skipping them,
// a buffer at most); at once when the device is stopped.
void outputReleaseDiscarded(uint32_t room);
// Where the stream ends (the ring running dry there is no fault), or UINT64_MAX.
void outputSetStreamEnd(uint64_t position);

// 1 to 100 (clamped); applied from the next audio buffer on.
void outputSetVolume(int volume);
int outputVolume();

// The latest count mono samples heard (count at most 8192), oldest first; returns the
// number of samples ever produced, which tells a caller whether anything changed.
uint64_t outputCopyTap(int16_t* out, uint32_t count);
// Recorded frames waiting to be written out: copies up to maxFrames stereo frames and
// returns their count. outputRecordLost counts frames that did not fit.
uint32_t outputTakeRecorded(int16_t* out, uint32_t maxFrames);
uint64_t outputRecordLost();
// How often the ring ran dry while playing.
uint64_t outputUnderruns();
