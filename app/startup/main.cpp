// Entry of the music player front end.
#include "app/startup/startup.h"

int main(int argc, char** argv) {
    return mp_main(argc, argv);
}
