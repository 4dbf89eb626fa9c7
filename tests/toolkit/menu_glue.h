// The program-side names the toolkit calls, as the menu tests provide them: a row that
// knows its path, and a filter that takes ".mp3" files in any case.
#pragma once

#include "zmenu.h"

#include <atomic>
#include <string>

class PathRow : public TextMenuItem {
public:
    PathRow(const char* name, const char* path, ZelmorSurface* icon, Action* action)
        : TextMenuItem(name, icon, action, true), mPath(path) {}
    std::string mPath;
};

// Icon of music file rows, as the program's gIconAudio; null unless a test sets it.
extern ZelmorSurface* gTestAudioIcon;

// Called by file_handler with each name before it makes the row; a test sets it
// before a load starts and clears it after the load has ended.
extern void (*gHandlerHook)(const char* name);

// Sets gHandlerHook to a gate that holds the loader at the row of that name (any row
// when empty) until the test opens it: gGate is 1 while the loader waits there; the test
// sets 2 to let it go on.
void armGate(const std::string& name);
extern std::atomic<int> gGate;
