#include "base/heap_policy.h"

#include <malloc.h>

void keepFreedHeapForReuse() {
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
    mallopt(M_TOP_PAD, 16 << 20);
}
