// Fixed locations of the toolkit stand-in, under the build-time device root.
#pragma once

#ifndef MP_DEVICE_ROOT
#define MP_DEVICE_ROOT ""
#endif

// The log that tprintf appends to, beside standard error.
#define ZW_LOG_FILE MP_DEVICE_ROOT "/tmp/musicplayer.log"
