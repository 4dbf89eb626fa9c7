// The image that stands for a whole album folder, for the tracks without a picture of
// their own: found by its name, read whole, and its size taken from its header, so that
// the cover thread can refuse a huge one before decoding it.
#pragma once

#include <cstddef>
#include <string>

enum ImageKind { kImagePng, kImageJpeg };

// The folder's image: the first of "cover", "folder", "front" and "album" (any case) with
// ".jpg", ".jpeg" or ".png" (any case), else the only image of the folder, not counting
// images named after one of its music files (those belong to that track); "" for none.
// Hidden names are left out.
std::string findFolderImage(const std::string& folder);

// Reads the whole file, a regular file of at most maxBytes: 0, or -1 with a line in the
// log. A FIFO or a device is never read (it could block for good).
int readImageFile(const std::string& path, size_t maxBytes, std::string* bytes);

// The kind and size that a PNG's or a JPEG's header declares, without decoding anything:
// 0, or -1 when the bytes are neither, or do not say.
int readImageHeader(const unsigned char* data, size_t size, ImageKind* kind, int* width, int* height);
