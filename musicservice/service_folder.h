// The folder of the files the service reports through (status, dump, cover, tap). It
// lies under /tmp, where anyone may create a name first: a folder that another user
// owns or can write could hold symlinks that make the service write over other files,
// so such a folder is refused.
#pragma once

// Creates the folder (and its parents) when missing. 0 when it is a real folder of the
// service's own user (or root) that no one else can write; else -1, with a log line
// that says why.
int serviceFolderCheck(const char* dir);
