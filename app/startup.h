// Start-up of the program: the command line and the first conversation with the service.
#pragma once

#include <string>

// Root of the library browser; "/mnt/SDCARD/Music" unless -d or -f say otherwise.
extern std::string gUserPath;
// The single file named with -f, empty without it.
extern std::string gUserFile;
// The last file and directory this process told the service to play.
extern std::string sLastPlayPath;
extern std::string sLastPlayDir;

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

int mp_main(int argc, char** argv);
