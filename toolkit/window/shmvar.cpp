// The shared key table: 64 integer keys in a small file under the device root, mapped
// shared, so that another process (the shmkey tool, a test) can change them live.
#include "shmvar.h"

#include "zwindow.h"

#include "base/device_paths.h"
#include "base/files.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

extern int gZwLanguage;

int InitKeyShm(ShmInfo* info) {
    if (!info)
        return -1;
    if (info->table)
        return 0;
    makeParentDirs(MP_SHM_FILE);
    int fd = open(MP_SHM_FILE, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0)
        return -1;
    const off_t size = static_cast<off_t>(sizeof(int) * kShmKeyCount);
    struct stat st;
    if (fstat(fd, &st) == 0 && st.st_size < size && ftruncate(fd, size) != 0) {
        close(fd);
        return -1;
    }
    void* table = mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (table == MAP_FAILED)
        return -1;
    info->table = table;
    return 0;
}

int GetKeyShm(ShmInfo* info, int key) {
    if (!info || !info->table || key < 0 || key >= kShmKeyCount)
        return 0;
    return __atomic_load_n(static_cast<int*>(info->table) + key, __ATOMIC_RELAXED);
}

int SetKeyShm(ShmInfo* info, int key, int value) {
    if (!info || !info->table || key < 0 || key >= kShmKeyCount)
        return -1;
    __atomic_store_n(static_cast<int*>(info->table) + key, value, __ATOMIC_RELAXED);
    return 0;
}

int loadSystemState(ShmInfo* info, void*) {
    gZwLanguage = GetKeyShm(info, kShmKeyLanguage);
    // A theme is a directory named in the theme file; without one the program's own skin.
    FILE* file = fopen(MP_THEME_FILE, "r");
    if (!file)
        return 0;
    char line[512] = {0};
    if (fgets(line, sizeof(line), file)) {
        line[strcspn(line, "\r\n")] = '\0';
        if (line[0]) {
            free(gThemePath);
            gThemePath = strdup(line);
        }
    }
    fclose(file);
    return 0;
}
