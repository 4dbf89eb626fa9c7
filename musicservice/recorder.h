// Writes out what the audio callback handed to the device (when the service was started
// with --record), so that a test can check the very samples that were played.
#pragma once

// Creates the file: 0 or -1.
int recorderOpen(const char* path);
// Appends what has been recorded since the last call; cheap when there is nothing.
void recorderDrain();
void recorderClose();
