// Logging, time and file reading helpers of the window toolkit. They carry no SDL
// dependency, so the service client and the status monitor can use them alone.
#pragma once

#include <cstdio>

// Opens the log file; called once with 1 before the first tprintf. Lines logged
// before it still reach standard error.
void initLogger(int enable);

// printf-style log line; the format carries its own line end. Safe from any thread:
// each call reaches standard error and the log file as one whole write.
void tprintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Whether tprintf also writes to standard error (on by default). Fuzz targets and
// benchmarks turn it off so that logging does not drown their own output.
void tprintfToStderr(bool enabled);

// Monotonic time in milliseconds.
long systemms();

// Reads the whole of an open file. On success *text designates its zero-terminated
// content and the result is its length; negative on failure. The block stays owned by
// this function: pass the same pointer again and it is reused or replaced, never leaked.
int loadContent(const char* path, FILE* file, char** text);
