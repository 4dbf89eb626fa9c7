#include "build_program.h"

#include <unistd.h>

#include <sstream>

void execBuildProgram(const char* path, const std::vector<std::string>& args) {
    std::vector<std::string> words;
    std::istringstream emulator(MP_RUN_EMULATOR);
    for (std::string word; emulator >> word;)
        words.push_back(word);
    words.push_back(path);
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(&word[0]);
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
}
