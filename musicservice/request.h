// One request of the front end: the JSON body of a frame, {"cmd": word, ...}, carried
// out at once. Four words have an answer, returned as the JSON body of the reply frame.
#pragma once

#include <cstddef>
#include <string>

// Carries out the request. 1 with the reply body in *reply, 0 when the word has no
// reply, negative (logged) when the body is not JSON, not an object, names no known
// word or lacks the word's member; nothing changes then.
int handleRequest(const char* body, size_t length, std::string* reply);
