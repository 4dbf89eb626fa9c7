// Track lists kept as M3U files: one path a line, "#" lines are comments, relative
// paths are taken from the list's own folder.
#pragma once

#include <string>
#include <vector>

// Replaces *paths with the entries of the file: the count, or -1 when it cannot be read
// (*paths is then empty).
int m3uLoad(const std::string& file, std::vector<std::string>* paths);

// Writes the list by way of a temporary file, synced and renamed over the old one, so
// that a power cut leaves the old list or the new one whole: 0 or -1.
int m3uSave(const std::string& file, const std::vector<std::string>& paths);
