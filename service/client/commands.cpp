#include "service/client/commands.h"

#include "base/json_members.h"
#include "service/client/wire.h"

#include <cjson/cJSON.h>
#include <cstdlib>
#include <unistd.h>

std::vector<std::string> sFavoritePathList;

namespace {

// A one-way command: connect, send, close; -1 when the service is unreachable.
template <typename Send> int sendOneWay(Send send) {
    int fd = connectService();
    if (fd < 0)
        return -1;
    int result = send(fd);
    close(fd);
    return result;
}

// Member "name" of the reply to "cmd" when it is a number, else -1.
int queryNumber(const char* cmd, const char* name) {
    char* reply = wr_cmd2(cmd);
    if (!reply)
        return -1;
    int result = -1;
    if (cJSON* root = cJSON_Parse(reply)) {
        jsonIntMember(root, name, &result);
        cJSON_Delete(root);
    }
    free(reply);
    return result;
}

} // namespace

int setPlayMode(PlayMode mode) {
    return sendOneWay(
        [=](int fd) { return send_request_number(fd, kCmdSetPlayMode, kMemberMode, static_cast<int>(mode)); });
}

int setvolume(int volume) {
    return sendOneWay([=](int fd) { return send_request_number(fd, kCmdSetVolume, kMemberVolume, volume); });
}

int noarg_cmd(const char* cmd) {
    return sendOneWay([=](int fd) { return send_request(fd, cmd); });
}

int filepath_cmd(const char* cmd, const char* path) {
    return sendOneWay([=](int fd) { return send_request_string(fd, cmd, kMemberPath, path); });
}

extern "C" int pause(void) {
    return noarg_cmd(kCmdPause);
}

int seek_cmd(int ms) {
    return sendOneWay([=](int fd) { return send_request_number(fd, kCmdSeek, kMemberMs, ms); });
}

int getCurrentListType() {
    return queryNumber(kCmdGetListType, kMemberListType);
}

int getPlayMode() {
    return queryNumber(kCmdGetPlayMode, kMemberMode);
}

void fetchFavoriteList() {
    char* reply = wr_cmd2(kCmdGetFavorites);
    if (!reply)
        return;
    cJSON* root = cJSON_Parse(reply);
    if (!root) {
        free(reply);
        return;
    }
    sFavoritePathList.clear();
    cJSON* list = cJSON_GetObjectItem(root, kMemberList);
    if (list) {
        int count = cJSON_GetArraySize(list);
        for (int i = 0; i < count; ++i) {
            if (const char* path = jsonStringMember(cJSON_GetArrayItem(list, i), kMemberPath))
                sFavoritePathList.emplace_back(path);
        }
    }
    cJSON_Delete(root);
    free(reply);
}
