// Set when a track is chosen or skipped: the library brings the playing row into view
// the next time it is on top (its refresh). Window thread only.
#pragma once

extern bool gNeedToRefreshIndex;
