#include "musicservice/m3u.h"

#include "musicservice/file_replace.h"
#include "musicservice/music_folder.h"

#include <cstdio>
#include <cstdlib>

int m3uLoad(const std::string& file, std::vector<std::string>* paths) {
    paths->clear();
    FILE* in = fopen(file.c_str(), "r");
    if (!in)
        return -1;
    std::string base = folderOf(file);
    char* line = nullptr;
    size_t capacity = 0;
    ssize_t length;
    while ((length = getline(&line, &capacity, in)) >= 0) {
        std::string entry(line, static_cast<size_t>(length));
        while (!entry.empty() && (entry.back() == '\n' || entry.back() == '\r'))
            entry.pop_back();
        // A byte-order mark some editors put at the very start.
        if (paths->empty() && entry.compare(0, 3, "\xEF\xBB\xBF") == 0)
            entry.erase(0, 3);
        size_t start = entry.find_first_not_of(" \t");
        if (start == std::string::npos || entry[start] == '#')
            continue;
        entry.erase(0, start);
        if (entry[0] != '/')
            entry = (base.empty() ? std::string(".") : base) + "/" + entry;
        paths->push_back(entry);
    }
    free(line);
    fclose(in);
    return static_cast<int>(paths->size());
}

int m3uSave(const std::string& file, const std::vector<std::string>& paths) {
    std::string text = "#EXTM3U\n";
    for (const std::string& path : paths)
        text += path + "\n";
    return replaceFile(file.c_str(), text.data(), text.size(), true);
}
