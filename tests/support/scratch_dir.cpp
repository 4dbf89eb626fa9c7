#include "scratch_dir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
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
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

std::string readFile(const std::string& path) {
    std::stringstream buffer;
    buffer << std::ifstream(path, std::ios::binary).rdbuf();
    return buffer.str();
}

void makeDirs(const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(path, ignored);
}

void removeTree(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

void makeEntries(const std::string& folder, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (!name.empty() && name.back() == '/')
            makeDirs(folder + "/" + name);
        else
            writeFile(folder + "/" + name, "");
    }
}
