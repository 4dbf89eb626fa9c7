#include "service/file_actions/library_refresh.h"

bool gNeedToRefreshIndex = false;
