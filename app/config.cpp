#include "app/config.h"

#include "app/device_paths.h"
#include "zcommon.h"

#include <cjson/cJSON.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

bool gCoverBackground = true;
bool gVisualization = true;
bool gBackgroundPlay = true;
int s_curEffectIndex = 0;
int gMusicVolume = 100;

namespace {

void readBool(const cJSON* root, const char* key, bool* variable) {
    const cJSON* item = cJSON_GetObjectItem(root, key);
    if (item && cJSON_IsNumber(item))
        *variable = item->valueint != 0;
}

void readInt(const cJSON* root, const char* key, int* variable) {
    const cJSON* item = cJSON_GetObjectItem(root, key);
    if (item && cJSON_IsNumber(item))
        *variable = item->valueint;
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
            readInt(root, "visualization_index", &s_curEffectIndex);
            readInt(root, "music_volume", &gMusicVolume);
            cJSON_Delete(root);
        }
    }
    fclose(file);
}

int savePlayerConfig() {
    // Written beside the file and renamed over it, so that a crash or a full card in
    // the middle of a save never leaves a truncated configuration behind.
    const char* tempPath = MP_CONFIG_FILE ".tmp";
    bool viaTemp = true;
    FILE* file = fopen(tempPath, "w+");
    if (!file) {
        viaTemp = false;
        file = fopen(MP_CONFIG_FILE, "w+");
    }
    if (!file)
        return 0;
    bool written = false;
    cJSON* root = cJSON_CreateObject();
    if (root) {
        cJSON_AddItemToObject(root, "cover_as_background", cJSON_CreateNumber(gCoverBackground ? 1 : 0));
        cJSON_AddItemToObject(root, "music_visualization", cJSON_CreateNumber(gVisualization ? 1 : 0));
        cJSON_AddItemToObject(root, "background_play", cJSON_CreateNumber(gBackgroundPlay ? 1 : 0));
        cJSON_AddItemToObject(root, "visualization_index", cJSON_CreateNumber(s_curEffectIndex));
        cJSON_AddItemToObject(root, "music_volume", cJSON_CreateNumber(gMusicVolume));
        if (char* text = cJSON_Print(root)) {
            size_t length = strlen(text);
            written = fwrite(text, 1, length, file) == length;
            free(text);
        }
        cJSON_Delete(root);
    }
    written = fclose(file) == 0 && written;
    if (viaTemp) {
        if (written)
            rename(tempPath, MP_CONFIG_FILE);
        else
            remove(tempPath);
    }
    return 0;
}
