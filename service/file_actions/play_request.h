// What this process last asked the service to play, and the request that plays a file
// of a folder. Window thread only.
#pragma once

#include <string>

// The last file and the last folder this process told the service to play.
extern std::string sLastPlayPath;
extern std::string sLastPlayDir;

// Has the service play path from its folder dir: "play_file_in_dir" alone when dir is the
// folder last handed over, else "set_play_dir" first (recorded in sLastPlayDir once the
// service took it). False when the service did not take the folder; nothing was played.
bool playFileInFolder(const std::string& path, const std::string& dir);
