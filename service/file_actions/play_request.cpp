#include "service/file_actions/play_request.h"

#include "service/client/commands.h"
#include "service/client/wire.h"

std::string sLastPlayPath;
std::string sLastPlayDir;

bool playFileInFolder(const std::string& path, const std::string& dir) {
    if (dir == sLastPlayDir) {
        filepath_cmd(kCmdPlayInDir, path.c_str());
        return true;
    }
    if (setPlayDir(dir.c_str()) <= 0)
        return false;
    filepath_cmd(kCmdPlayInDir, path.c_str());
    sLastPlayDir = dir;
    return true;
}
