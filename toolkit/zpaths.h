// Fixed locations of the toolkit stand-in, under the build-time device root.
#pragma once

#ifndef MP_DEVICE_ROOT
#define MP_DEVICE_ROOT ""
#endif

// The log that tprintf appends to, beside standard error.
#define ZW_LOG_FILE MP_DEVICE_ROOT "/tmp/musicplayer.log"

// The shared key table and the selected theme's directory (one line).
#define ZW_SHM_FILE MP_DEVICE_ROOT "/tmp/zelmor_shm"
#define ZW_THEME_FILE MP_DEVICE_ROOT "/mnt/UDISK/theme"
