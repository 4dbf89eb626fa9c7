// The thread that reports what plays: the wave tap about forty times a second while
// music plays; the status file at once when what it holds changes (the position once
// a second while playing) and otherwise once a second; the dump and the cover when
// another track begins; the recording; and the recent list when it has changed, so
// that the decode thread never waits for a file.
#pragma once

int reporterStart();
// Writes a last status, "stopped", and ends the thread.
void reporterStop();
// Asks for a look at the status now (rewritten only when it changed); callable from any
// thread.
void reporterKick();
