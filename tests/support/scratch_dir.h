// A fresh directory per test under the build's scratch area, removed afterwards, and
// small file helpers.
#pragma once

#include <string>
#include <vector>

class ScratchDir {
public:
    explicit ScratchDir(const char* tag);
    ~ScratchDir();
    const std::string& path() const { return mPath; }

private:
    std::string mPath;
};

void writeFile(const std::string& path, const std::string& content);
std::string readFile(const std::string& path);
// Creates the directory and its parents.
void makeDirs(const std::string& path);
// Removes a file or a whole tree; missing paths are fine.
void removeTree(const std::string& path);
// Empty files and folders under folder; names ending in "/" are folders.
void makeEntries(const std::string& folder, const std::vector<std::string>& names);
