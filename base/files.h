// Small file-system helpers.
#pragma once

// Creates every missing folder above the file named by path (not the file itself).
void makeParentDirs(const char* path);
