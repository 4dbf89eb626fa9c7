// The action of a file or folder row of the library: its path and its kind.
#pragma once

#include "zmenu.h"

#include <string>

// Kinds of a row's action.
enum { kActionTypeFile = 100, kActionTypeFolder = 102 };

class FileAction : public Action {
public:
    FileAction(const std::string& path, int type);
    ~FileAction() override;
    int dowork(void* arg) override;

    std::string mPath;
    int mType;
};
