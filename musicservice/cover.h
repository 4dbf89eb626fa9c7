// The embedded picture of a track, made into a PNG for the front end.
#pragma once

#include <string>

struct AVFormatContext;

// Covers are scaled down to fit this square; the front end shows them at 400 pixels.
constexpr int kCoverMaxSide = 600;

// The PNG bytes of the file's attached picture into *png: 0, or -1 when the file has
// none or it cannot be decoded (*png is then empty). A PNG picture that already fits
// is passed on as it stands.
int extractCoverPng(AVFormatContext* format, std::string* png);
