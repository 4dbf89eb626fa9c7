// The small text files the service keeps of its own (its settings, what it remembers
// across restarts): one "key=value" a line; blanks around either part, empty lines and
// lines that begin with "#" are ignored.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct KeyValue {
    std::string key;
    std::string value;
    int line;
};

// Reads the regular file at path, of at most maxBytes, into *entries: 1 when every line
// was understood; 0 when there is no file; -1 when it cannot be read or is too large
// (*badLine 0), or when a line is not "key=value" (*badLine its number; *entries holds
// the lines that are).
int readKeyValueFile(const char* path, size_t maxBytes, std::vector<KeyValue>* entries, int* badLine);
