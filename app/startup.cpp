#include "app/startup.h"

#include <cstdio>

int mp_main(int argc, char** argv) {
    (void)argc;
    printf("usage: %s [-d base-path] [-f single-file]\n", argv[0]);
    return 0;
}
