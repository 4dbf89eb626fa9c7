#include "service/file_actions/file_action.h"

#include "zcommon.h"

FileAction::FileAction(const std::string& path, int type) : mPath(path), mType(type) {}

FileAction::~FileAction() {}

int FileAction::dowork(void*) {
    tprintf("FileAction::dowork, should not be called here\n");
    return 0;
}
