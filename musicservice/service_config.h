// The service's own settings, in "musicservice.conf" in its data folder: one
// "key=value" a line ("#" begins a comment). A missing file, or a line or value it does
// not know, leaves the defaults, with a line in the log.
//
//   replaygain=on    scale each track by its gain tags (the default); off: as recorded
#pragma once

struct ServiceConfig {
    bool replayGain = true;
};

// Set once by main before any other thread starts; read-only afterwards, from any thread.
extern ServiceConfig gServiceConfig;

// Reads the file at path into *config: 0 read, 1 no file, -1 a line or the file not
// understood (logged; what could be read still counts).
int serviceConfigLoad(const char* path, ServiceConfig* config);
