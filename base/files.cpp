#include "base/files.h"

#include <string>
#include <sys/stat.h>

void makeParentDirs(const char* path) {
    std::string partial(path ? path : "");
    for (size_t i = 1; i < partial.size(); ++i) {
        if (partial[i] == '/') {
            partial[i] = '\0';
            mkdir(partial.c_str(), 0755);
            partial[i] = '/';
        }
    }
}
