// Whole-file replacement that readers never catch half-way: the content goes to a
// temporary file beside the target, which is then renamed over it.
#pragma once

#include <cstddef>

// 0, or -1 when the temporary file cannot be written or renamed (the old file then
// stays as it was).
int replaceFile(const char* path, const void* data, size_t size);
