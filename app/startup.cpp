#include "app/startup.h"

#include "base/device_paths.h"
#include "service/commands.h"
#include "service/wire.h"
#include "zcommon.h"

#include <cstdio>
#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>

void parseCommandLine(int argc, char** argv) {
    gUserPath = MP_MUSIC_ROOT;
    printf("usage: %s [-d base-path] [-f single-file]\n", argv[0]);
    optind = 1;
    int option;
    while ((option = getopt(argc, argv, "d:f:")) != -1) {
        switch (option) {
        case 'd':
            printf("user path:%s\n", optarg);
            gUserPath = optarg;
            break;
        case 'f':
            printf("user file:%s\n", optarg);
            gUserFile = optarg;
            break;
        default:
            // Unknown options are skipped; they do not stop the start.
            break;
        }
    }
    if (optind < argc)
        printf("argv single:%s\n", argv[optind]);
    fflush(stdout);
}

void singleFileStart(StartState* state) {
    if (gUserFile.empty())
        return;
    size_t slash = gUserFile.rfind('/');
    if (slash != std::string::npos)
        gUserPath = gUserFile.substr(0, slash);
    if (setPlayDir(gUserPath.c_str()) <= 0)
        return;
    filepath_cmd("play_file_in_dir", gUserFile.c_str());
    sLastPlayDir = gUserPath;
    sLastPlayPath = gUserFile;
    usleep(100000);
    state->currentPath = gUserFile;
    state->played = true;
}

int mp_main(int argc, char** argv) {
    parseCommandLine(argc, argv);
    initLogger(1);
    if (access(gUserPath.c_str(), F_OK) != 0)
        mkdir(gUserPath.c_str(), 0777);
    tprintf("start %ld\n", systemms());

    StartState state;
    singleFileStart(&state);
    state.listType = getCurrentListType();
    fetchFavoriteList();
    return 0;
}
