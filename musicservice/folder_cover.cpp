#include "musicservice/folder_cover.h"

#include "base/fd_io.h"
#include "musicservice/music_folder.h"
#include "zcommon.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <set>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

const char* const kFolderImageNames[] = {"cover", "folder", "front", "album"};
constexpr int kFolderNameCount = sizeof(kFolderImageNames) / sizeof(kFolderImageNames[0]);
const char* const kImageSuffixes[] = {".jpg", ".jpeg", ".png"};
constexpr int kSuffixCount = sizeof(kImageSuffixes) / sizeof(kImageSuffixes[0]);

// The index of the name's image suffix (any case) in kImageSuffixes, or -1; *stemLength
// is the length before it.
int imageSuffix(const std::string& name, size_t* stemLength) {
    size_t dot = name.find_last_of('.');
    if (dot == std::string::npos || dot == 0)
        return -1;
    for (int i = 0; i < kSuffixCount; ++i) {
        if (strcasecmp(name.c_str() + dot, kImageSuffixes[i]) == 0) {
            *stemLength = dot;
            return i;
        }
    }
    return -1;
}

uint32_t bigEndian32(const unsigned char* bytes) {
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

int pngHeader(const unsigned char* bytes, size_t size, int* width, int* height) {
    // The signature, then the IHDR chunk: its length, its name, width and height.
    if (size < 24 || memcmp(bytes, "\x89PNG\r\n\x1a\n", 8) != 0 || memcmp(bytes + 12, "IHDR", 4) != 0)
        return -1;
    uint32_t w = bigEndian32(bytes + 16), h = bigEndian32(bytes + 20);
    if (w == 0 || h == 0 || w > 0x7fffffffu || h > 0x7fffffffu)
        return -1;
    *width = static_cast<int>(w);
    *height = static_cast<int>(h);
    return 0;
}

// Walks the JPEG's segments up to its frame header (any SOF marker), which holds the size.
int jpegHeader(const unsigned char* bytes, size_t size, int* width, int* height) {
    if (size < 4 || bytes[0] != 0xff || bytes[1] != 0xd8)
        return -1;
    size_t at = 2;
    while (at < size) {
        if (bytes[at] != 0xff)
            return -1;
        while (at < size && bytes[at] == 0xff) // fill bytes
            ++at;
        if (at >= size)
            return -1;
        unsigned marker = bytes[at++];
        if (marker == 0x01 || (marker >= 0xd0 && marker <= 0xd8))
            continue; // markers without a segment
        if (marker == 0xd9 || marker == 0xda || at + 2 > size)
            return -1; // the image or its data begins before any frame header
        size_t length = static_cast<size_t>(bytes[at]) << 8 | bytes[at + 1];
        if (length < 2)
            return -1;
        bool frame = marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
        if (frame) {
            if (length < 7 || at + 7 > size)
                return -1;
            *height = bytes[at + 3] << 8 | bytes[at + 4];
            *width = bytes[at + 5] << 8 | bytes[at + 6];
            return *width > 0 && *height > 0 ? 0 : -1;
        }
        at += length;
    }
    return -1;
}

} // namespace

std::string findFolderImage(const std::string& folder) {
    DIR* dir = opendir(folder.c_str());
    if (!dir)
        return "";
    std::set<std::string> musicStems;
    std::vector<std::string> images; // the other images, by stem and name
    std::string best;
    int bestRank = 1 << 30;
    while (struct dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name[0] == '.')
            continue;
        if (isMusicName(name.c_str())) {
            musicStems.insert(name.substr(0, name.find_last_of('.')));
            continue;
        }
        size_t stem = 0;
        int suffix = imageSuffix(name, &stem);
        if (suffix < 0)
            continue;
        images.push_back(name);
        for (int i = 0; i < kFolderNameCount; ++i) {
            int rank = i * kSuffixCount + suffix;
            if (rank < bestRank && stem == strlen(kFolderImageNames[i]) &&
                strncasecmp(name.c_str(), kFolderImageNames[i], stem) == 0) {
                bestRank = rank;
                best = name;
            }
        }
    }
    closedir(dir);
    if (best.empty()) {
        // The front end shows an image named after a track for that track alone.
        int loose = 0;
        for (const std::string& name : images) {
            if (!musicStems.count(name.substr(0, name.find_last_of('.'))) && loose++ == 0)
                best = name;
        }
        if (loose != 1)
            return "";
    }
    return (folder == "/" ? "" : folder) + "/" + best;
}

int readImageFile(const std::string& path, size_t maxBytes, std::string* bytes) {
    bytes->clear();
    int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat info;
    const char* problem = nullptr;
    if (fd < 0)
        problem = strerror(errno);
    else if (fstat(fd, &info) < 0 || !S_ISREG(info.st_mode))
        problem = "not a regular file";
    else if (static_cast<unsigned long long>(info.st_size) > maxBytes)
        problem = "the file is too large";
    if (!problem) {
        bytes->resize(static_cast<size_t>(info.st_size));
        size_t got = bytes->empty() ? 0 : readFully(fd, &(*bytes)[0], bytes->size(), -1);
        if (got != bytes->size())
            problem = "cannot read it whole";
    }
    if (fd >= 0)
        close(fd);
    if (problem) {
        tprintf("musicservice: the cover %s is left out: %s\n", path.c_str(), problem);
        bytes->clear();
        return -1;
    }
    return 0;
}

int readImageHeader(const unsigned char* data, size_t size, ImageKind* kind, int* width, int* height) {
    if (pngHeader(data, size, width, height) == 0) {
        *kind = kImagePng;
        return 0;
    }
    if (jpegHeader(data, size, width, height) == 0) {
        *kind = kImageJpeg;
        return 0;
    }
    return -1;
}
