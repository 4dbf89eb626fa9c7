#include "base/json_members.h"

#include <cjson/cJSON.h>

bool jsonIntMember(const cJSON* object, const char* name, int* value) {
    const cJSON* item = object ? cJSON_GetObjectItem(object, name) : nullptr;
    if (!item || !cJSON_IsNumber(item))
        return false;
    *value = item->valueint;
    return true;
}

const char* jsonStringMember(const cJSON* object, const char* name) {
    const cJSON* item = object ? cJSON_GetObjectItem(object, name) : nullptr;
    return item && cJSON_IsString(item) ? item->valuestring : nullptr;
}

std::string jsonStringOrEmpty(const cJSON* object, const char* name) {
    const char* text = jsonStringMember(object, name);
    return text ? text : "";
}
