#include "music_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void touch(const std::string& path) {
    int fd = open(path.c_str(), O_CREAT | O_WRONLY, 0644);
    if (fd >= 0)
        close(fd);
}

} // namespace

std::string benchMusicFolder(int count) {
    std::string dir = "/tmp/mp-bench-music-" + std::to_string(count);
    struct stat info;
    if (stat((dir + "/.done").c_str(), &info) == 0)
        return dir;
    mkdir(dir.c_str(), 0755);
    for (int i = 0; i < count; ++i)
        touch(dir + "/" + std::to_string(i % 100) + " - Track " + std::to_string(i) + ".mp3");
    touch(dir + "/.done");
    return dir;
}

void BareReaddir(benchmark::State& state) {
    std::string dir = benchMusicFolder(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        int entries = 0;
        if (DIR* folder = opendir(dir.c_str())) {
            while (readdir(folder))
                ++entries;
            closedir(folder);
        }
        benchmark::DoNotOptimize(entries);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
