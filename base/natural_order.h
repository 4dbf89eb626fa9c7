// The order in which the library lists names, shared by the file browser and the
// playback service, so that the service's folder list runs in the order the user sees.
#pragma once

#include <string>

// Case-insensitive natural order: runs of digits compare by value ("track2" before
// "track10"), everything else by lower-case byte.
bool naturalLess(const std::string& a, const std::string& b);
