// Every fixed absolute path of the program and of the toolkit stand-in. Each one is
// built from MP_DEVICE_ROOT, a compile-time prefix (the CMake cache variable
// DEVICE_ROOT): empty on the device, a scratch directory in desktop and test builds, so
// that those never touch the real locations. Nothing here reads the environment.
#pragma once

#ifndef MP_DEVICE_ROOT
#define MP_DEVICE_ROOT ""
#endif

// Files that the playback service writes.
#define MP_SERVICE_DIR MP_DEVICE_ROOT "/tmp/zelmor_music"
#define MP_STATUS_FILE MP_SERVICE_DIR "/status"
#define MP_MUSIC_INFO_FILE MP_SERVICE_DIR "/music_info.txt"
#define MP_MUSIC_COVER_FILE MP_SERVICE_DIR "/music_cover.png"
#define MP_WAVE_TAP_FILE MP_SERVICE_DIR "/wave_s16le"

// The playback service's own data: its recent list, playlist and favourites, each an
// M3U file.
#define MP_SERVICE_DATA_DIR MP_DEVICE_ROOT "/mnt/UDISK/musicservice"

// Configuration, library, effects.
#define MP_CONFIG_FILE MP_DEVICE_ROOT "/mnt/UDISK/music_player.json"
#define MP_MUSIC_ROOT MP_DEVICE_ROOT "/mnt/SDCARD/Music"
#define MP_VIS_DIR MP_DEVICE_ROOT "/usr/zelmor/apps/musicplayer/skin/vis"
#define MP_VIS_FALLBACK_DIR MP_VIS_DIR "/fft1"

// Markers and devices.
#define MP_STAY_ALIVE_FILE MP_DEVICE_ROOT "/tmp/stay_alive"
#define MP_SYSTEM_SUSPEND_FILE MP_DEVICE_ROOT "/tmp/system_suspend"
#define MP_BTDEV_ADDR_FILE MP_DEVICE_ROOT "/tmp/btdev_addr"
#define MP_DISP_DEVICE MP_DEVICE_ROOT "/dev/disp"

// Shell commands for the stay-alive marker, on the same prefixed path.
#define MP_CMD_STAY_ALIVE_ON "echo 1 > " MP_STAY_ALIVE_FILE
#define MP_CMD_STAY_ALIVE_OFF "rm -f " MP_STAY_ALIVE_FILE

// The log that tprintf appends to, beside standard error.
#define MP_LOG_FILE MP_DEVICE_ROOT "/tmp/musicplayer.log"
// The system's shared key table, and the file naming the selected theme's directory.
#define MP_SHM_FILE MP_DEVICE_ROOT "/tmp/zelmor_shm"
#define MP_THEME_FILE MP_DEVICE_ROOT "/mnt/UDISK/theme"
