// The music files of one folder, as the library shows them.
#pragma once

#include <string>
#include <vector>

// Whether the name ends in one of the music suffixes, in the case the library accepts
// (".mp3", ".wma", ".wav", ".flac", ".ape", ".dsf"; ".MP3" is not shown, so not played).
bool isMusicName(const char* name);

// Replaces *paths with the full paths of the music files directly in dir (regular files
// and symlinks to them; no subfolders, no hidden names), in the library's natural order. The count, or -1
// when the folder cannot be read (*paths is then empty).
int scanMusicFolder(const std::string& dir, std::vector<std::string>* paths);

// The folder part of a path: the text before its last "/" ("" for none, "/" for a
// file in the root).
std::string folderOf(const std::string& path);
