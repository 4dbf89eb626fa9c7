// The thread that reports what plays: the wave tap about forty times a second while
// music plays, the status file about ten times a second and at once after a change,
// the dump and the cover when another track begins, and the recording.
#pragma once

int reporterStart();
// Writes a last status, "stopped", and ends the thread.
void reporterStop();
// Asks for a status file now; callable from any thread.
void reporterKick();
