// The service's text dump of the current media file, a second source for the tags.
#pragma once

#include <string>

struct TrackDump {
    std::string inputPath;
    std::string title;
    std::string artist;
    std::string album;
    std::string date;
    std::string genre;
};

// Reads the dump file into the record; an unreadable file leaves it empty.
void parseMusicInfo(TrackDump* dump);
// The same line rules on text already in memory.
void parseMusicInfoText(const char* text, size_t size, TrackDump* dump);

// Whether the dump describes the file the status names (filename null when the status
// file gave no string). Files whose extension starts with ".wav" never use the dump.
bool dumpApplies(const char* filename, const TrackDump& dump);

// Title, artist, album: a bad field (empty, invalid UTF-8, only "?") takes the dump's
// value when the dump applies; a field dense in U+0080..U+00FF is then repaired.
void mergeTagText(std::string& field, const std::string& dumpValue, bool applies);
// Year, genre: a bad field takes a valid dump value when the dump applies; no repair.
void mergeTagPlain(std::string& field, const std::string& dumpValue, bool applies);
