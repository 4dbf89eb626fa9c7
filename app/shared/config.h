// The five user settings, read directly by the screens, and their JSON file.
#pragma once

// s_curEffectIndex, the selected visual effect, belongs to the effect catalogue.
#include "visualiser/effects/effect_catalogue.h"

// Read and written by the window thread alone, and so is the file after start-up.
extern bool gCoverBackground;
extern bool gVisualization;
extern bool gBackgroundPlay;
extern int gMusicVolume;

// Reads the configuration file once at start-up; a missing or broken file leaves the
// built-in defaults, and a member that is no JSON number leaves its variable alone.
void loadPlayerConfig();
// Rewrites the whole file from the five variables; a file that cannot be written is
// dropped silently. Always 0.
int savePlayerConfig();

// Sends the volume setting to the service and logs "<who> setvolume N": the service is
// never asked for silence, so a setting below 1 goes out as 1, while the setting itself
// stays as it is.
void sendVolumeSetting(const char* who);
