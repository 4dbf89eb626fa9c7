// Entry of the music player front end.
#include "app/startup/startup.h"
#include "base/heap_policy.h"

int main(int argc, char** argv) {
    keepFreedHeapForReuse();
    return mp_main(argc, argv);
}
