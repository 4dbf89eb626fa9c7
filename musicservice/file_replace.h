// Whole-file replacement that readers never catch half-way: the content goes to a
// temporary file beside the target, which is then renamed over it.
#pragma once

#include <cstddef>

// 0, or -1 when the temporary file cannot be written or renamed (the old file then
// stays as it was). durable: the data is synced before the rename and the folder after
// it, for files that must outlive a power cut.
int replaceFile(const char* path, const void* data, size_t size, bool durable = false);
