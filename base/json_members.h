// Typed reads of the members of a cJSON object: what the configuration, the status
// file and the service's replies all need.
#pragma once

#include <string>

struct cJSON;

// The integer value (cJSON's valueint) of a number member into *value; false, with
// *value untouched, when the member is absent or not a number.
bool jsonIntMember(const cJSON* object, const char* name, int* value);

// The text of a string member, or null when it is absent or not a string.
const char* jsonStringMember(const cJSON* object, const char* name);

// The same as a string, empty when absent or not a string.
std::string jsonStringOrEmpty(const cJSON* object, const char* name);
