#include "menu_glue.h"

#include "base/user_events.h"

#include <cstring>
#include <strings.h>

std::atomic<int> gFilesActivated{0};
void (*gHandlerHook)(const char* name) = nullptr;
ZelmorSurface* gTestAudioIcon = nullptr;

int TestRowAction::dowork(void*) {
    if (!mFolder) {
        ++gFilesActivated;
        return 0;
    }
    SDL_Event event;
    SDL_zero(event);
    event.type = SDL_USEREVENT;
    event.user.code = USER_EVENT_OPEN_FOLDER;
    event.user.data1 = const_cast<char*>(mPath.c_str());
    SDL_PushEvent(&event);
    return 0;
}

int file_filter(const char* name, const char*) {
    const char* dot = strrchr(name, '.');
    return dot && strcasecmp(dot, ".mp3") == 0;
}

TextMenuItem* file_handler(const char* name, const char* path, int type) {
    if (gHandlerHook)
        gHandlerHook(name);
    if (strncmp(name, "skipme", 6) == 0 || (type != 101 && type != 102))
        return nullptr;
    // Folders get the skin's folder icon once a test has loaded the skin, files the
    // test's audio icon.
    return new PathRow(name, path, type == 102 ? gIconFolder : gTestAudioIcon,
                       new TestRowAction(path, type == 102));
}
