#include "app/shared/config.h"

#include "base/device_paths.h"
#include "base/json_members.h"
#include "service/client/commands.h"
#include "zcommon.h"

#include <cjson/cJSON.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

bool gCoverBackground = true;
bool gVisualization = true;
bool gBackgroundPlay = true;
int gMusicVolume = 100;

namespace {

void readBool(const cJSON* root, const char* key, bool* variable) {
    int value;
    if (jsonIntMember(root, key, &value))
        *variable = value != 0;
}

} // namespace

void loadPlayerConfig() {
    FILE* file = fopen(MP_CONFIG_FILE, "r");
    if (!file)
        return;
    char* text = nullptr;
    if (loadContent(MP_CONFIG_FILE, file, &text) >= 0) {
        if (cJSON* root = cJSON_Parse(text)) {
            readBool(root, "cover_as_background", &gCoverBackground);
            readBool(root, "music_visualization", &gVisualization);
            readBool(root, "background_play", &gBackgroundPlay);
            jsonIntMember(root, "visualization_index", &s_curEffectIndex);
            jsonIntMember(root, "music_volume", &gMusicVolume);
            cJSON_Delete(root);
        }
    }
    fclose(file);
}

void sendVolumeSetting(const char* who) {
    int volume = gMusicVolume < 1 ? 1 : gMusicVolume;
    setvolume(volume);
    tprintf("%s setvolume %d\n", who, volume);
}

int savePlayerConfig() {
    FILE* file = fopen(MP_CONFIG_FILE, "w+");
    if (!file)
        return 0;
    cJSON* root = cJSON_CreateObject();
    if (root) {
        cJSON_AddItemToObject(root, "cover_as_background", cJSON_CreateNumber(gCoverBackground ? 1 : 0));
        cJSON_AddItemToObject(root, "music_visualization", cJSON_CreateNumber(gVisualization ? 1 : 0));
        cJSON_AddItemToObject(root, "background_play", cJSON_CreateNumber(gBackgroundPlay ? 1 : 0));
        cJSON_AddItemToObject(root, "visualization_index", cJSON_CreateNumber(s_curEffectIndex));
        cJSON_AddItemToObject(root, "music_volume", cJSON_CreateNumber(gMusicVolume));
        // The printed text goes out in one write, without its terminating NUL.
        if (char* text = cJSON_Print(root)) {
            fwrite(text, 1, strlen(text), file);
            free(text);
        }
        cJSON_Delete(root);
    }
    fclose(file);
    return 0;
}
