// Reads or sets a key of the shared key table: "shmkey get 19", "shmkey set 19 1".
#include "shmvar.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
    if (argc < 3 || (strcmp(argv[1], "get") != 0 && strcmp(argv[1], "set") != 0) ||
        (strcmp(argv[1], "set") == 0 && argc < 4)) {
        fprintf(stderr, "usage: %s get KEY | set KEY VALUE\n", argv[0]);
        return 2;
    }
    if (InitKeyShm(&gShmInfo) < 0) {
        fprintf(stderr, "cannot attach the key table\n");
        return 1;
    }
    int key = atoi(argv[2]);
    if (strcmp(argv[1], "get") == 0) {
        printf("%d\n", GetKeyShm(&gShmInfo, key));
        return 0;
    }
    return SetKeyShm(&gShmInfo, key, atoi(argv[3])) < 0 ? 1 : 0;
}
