// The small floating menu that kMenuKey opens on both main screens: quitting with or
// without the music, play and pause, the track information and the settings. The two
// screens differ in the play and pause row's function and argument.
#pragma once

// Builds the menu and pushes it on top of the current window; 4 rows when
// "/tmp/btdev_addr" exists, else 5.
void openPopupMenu(int (*playPause)(void*), void* playPauseArg);
