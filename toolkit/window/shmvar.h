// The system's shared key table and settings.
#pragma once

// 16-byte handle of the attached table; the program defines the one instance.
struct ShmInfo {
    void* table;
    long reserved;
};
static_assert(sizeof(ShmInfo) == 16, "the handle is a 16-byte record");

extern ShmInfo gShmInfo;

// Attaches the shared table; negative on failure.
int InitKeyShm(ShmInfo* info);
// Value of a key, 0 for an unknown key or an unattached table.
int GetKeyShm(ShmInfo* info, int key);
// Number of keys in the table, and the keys the stand-in itself reads.
enum { kShmKeyCount = 64, kShmKeyLanguage = 20 };

// Sets a key (used by the shmkey tool and tests); negative on failure.
int SetKeyShm(ShmInfo* info, int key, int value);

// Reads the system settings: sets gThemePath when a theme is selected, and the language.
int loadSystemState(ShmInfo* info, void* reserved);
