// Links one library whole, with only the libraries it declares, to prove that it uses
// nothing else of the program. The toolkit expects these five names of whatever program
// links it; they are weak here so that a library which defines one keeps its own.
#include "shmvar.h"
#include "zwindow.h"

__attribute__((weak)) ShmInfo gShmInfo = {nullptr, 0};
__attribute__((weak)) char* gThemePath = nullptr;
__attribute__((weak)) void initJoyStick() {}
__attribute__((weak)) int file_filter(const char*, const char*) {
    return 0;
}
__attribute__((weak)) TextMenuItem* file_handler(const char*, const char*, int) {
    return nullptr;
}

int main() {
    return 0;
}
