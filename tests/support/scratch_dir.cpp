#include "scratch_dir.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <ftw.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

ScratchDir::ScratchDir(const char* tag) {
    std::string base = "/tmp/mp-test-" + std::to_string(getpid());
    makeDirs(base);
    std::string pattern = base + "/" + tag + "-XXXXXX";
    char* made = mkdtemp(&pattern[0]);
    mPath = made ? made : base;
}

ScratchDir::~ScratchDir() {
    removeTree(mPath);
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

void makeDirs(const std::string& path) {
    std::string partial;
    for (size_t i = 0; i <= path.size(); ++i) {
        if (i == path.size() || path[i] == '/') {
            if (!partial.empty())
                mkdir(partial.c_str(), 0755);
        }
        if (i < path.size())
            partial += path[i];
    }
}

static int removeEntry(const char* path, const struct stat*, int, struct FTW*) {
    return remove(path);
}

void removeTree(const std::string& path) {
    nftw(path.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
}
