#include "musicservice/music_folder.h"

#include "base/natural_order.h"

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>

namespace {

const char* const kMusicSuffixes[] = {".mp3", ".wma", ".wav", ".flac", ".ape", ".dsf"};

} // namespace

bool isMusicName(const char* name) {
    const char* dot = strrchr(name, '.');
    if (!dot)
        return false;
    for (const char* suffix : kMusicSuffixes) {
        if (strcmp(dot, suffix) == 0)
            return true;
    }
    return false;
}

int scanMusicFolder(const std::string& dir, std::vector<std::string>* paths) {
    paths->clear();
    DIR* folder = opendir(dir.c_str());
    if (!folder)
        return -1;
    std::string prefix = dir == "/" ? "/" : dir + "/";
    std::vector<std::string> names;
    while (struct dirent* entry = readdir(folder)) {
        if (entry->d_name[0] == '.' || !isMusicName(entry->d_name))
            continue;
        // Regular files only, or symlinks to them: a folder named like a music file is a
        // folder row in the library, and a FIFO or a device could block the decoder.
        bool isFile = entry->d_type == DT_REG;
        if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
            struct stat info;
            isFile = stat((prefix + entry->d_name).c_str(), &info) == 0 && S_ISREG(info.st_mode);
        }
        if (isFile)
            names.emplace_back(entry->d_name);
    }
    closedir(folder);
    naturalSort(&names);
    paths->reserve(names.size());
    for (const std::string& name : names)
        paths->push_back(prefix + name);
    return static_cast<int>(paths->size());
}

std::string folderOf(const std::string& path) {
    size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return "";
    return slash == 0 ? "/" : path.substr(0, slash);
}
