// The life of the process: the command line, the first conversation with the service,
// the set-up of SDL, the screen, the strings, the configuration and the skin, the window
// loop, and the orderly shutdown with its decision about the music.
#pragma once

#include <string>

// What the start-up steps hand on to the choice of the first screen.
struct StartState {
    bool played = false;
    std::string currentPath;
    int listType = -1;
};

// Resets gUserPath to the library default and applies the options "d:f:"; prints the
// usage line and the option lines on standard output.
void parseCommandLine(int argc, char** argv);

// Makes the service play gUserFile in its directory, when one was named.
void singleFileStart(StartState* state);

// Without a file played by -f: whether the service plays (a paused track does not
// count) and what it has open.
void resumeDecision(StartState* state);

// The library at the bottom of gUIWindows, opened in the current track's folder, and
// the now-playing screen on top of it when music plays.
void pushStartScreens(const StartState& state);

// The whole process; its exit status.
int mp_main(int argc, char** argv);
