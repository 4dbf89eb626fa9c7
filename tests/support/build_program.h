#pragma once
#include <string>
#include <vector>

// Replaces the calling (forked) process with a program of this build, given its path and
// arguments. In a cross build the program is started through the emulator that runs the
// build's programs. Returns only when exec fails.
void execBuildProgram(const char* path, const std::vector<std::string>& args);
