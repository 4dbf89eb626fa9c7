#include "musicservice/service_folder.h"

#include "base/files.h"
#include "zcommon.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

int serviceFolderCheck(const char* dir) {
    makeParentDirs((std::string(dir) + "/").c_str());
    struct stat info;
    if (lstat(dir, &info) < 0) {
        tprintf("musicservice: cannot create the folder %s: %s\n", dir, strerror(errno));
        return -1;
    }
    const char* reason = nullptr;
    char owner[64];
    if (!S_ISDIR(info.st_mode)) {
        reason = "it is not a folder (a symlink?)";
    } else if (info.st_uid != geteuid() && info.st_uid != 0) {
        snprintf(owner, sizeof(owner), "it belongs to user %u", static_cast<unsigned>(info.st_uid));
        reason = owner;
    } else if (info.st_mode & (S_IWGRP | S_IWOTH)) {
        reason = "group or others can write it";
    }
    if (!reason)
        return 0;
    tprintf("musicservice: refusing the folder %s: %s; remove it, and the service makes its own\n", dir,
            reason);
    return -1;
}
