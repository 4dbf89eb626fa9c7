#include "menu_glue.h"

#include "base/user_events.h"
#include "wait_until.h"

#include <cstring>
#include <strings.h>

void (*gHandlerHook)(const char* name) = nullptr;
ZelmorSurface* gTestAudioIcon = nullptr;
std::atomic<int> gGate{0};

namespace {
std::string sGateName;
}

void armGate(const std::string& name) {
    gGate = 0;
    sGateName = name;
    gHandlerHook = [](const char* row) {
        if (sGateName.empty() || sGateName == row) {
            gGate = 1;
            waitUntil([] { return gGate == 2; });
        }
    };
}

namespace {

// A folder row pushes the folder event with its own path text; a file row does nothing.
class TestRowAction : public Action {
public:
    TestRowAction(const char* path, bool folder) : mPath(path), mFolder(folder) {}
    int dowork(void*) override {
        SDL_Event event;
        SDL_zero(event);
        event.type = SDL_USEREVENT;
        event.user.code = USER_EVENT_OPEN_FOLDER;
        event.user.data1 = const_cast<char*>(mPath.c_str());
        if (mFolder)
            SDL_PushEvent(&event);
        return 0;
    }
    std::string mPath;
    bool mFolder;
};

} // namespace

int file_filter(const char* name, const char*) {
    const char* dot = strrchr(name, '.');
    return dot && strcasecmp(dot, ".mp3") == 0;
}

TextMenuItem* file_handler(const char* name, const char* path, int type) {
    if (gHandlerHook)
        gHandlerHook(name);
    if (type != 101 && type != 102)
        return nullptr;
    // Folders get the skin's folder icon once a test has loaded the skin, files the
    // test's audio icon.
    return new PathRow(name, path, type == 102 ? gIconFolder : gTestAudioIcon,
                       new TestRowAction(path, type == 102));
}
