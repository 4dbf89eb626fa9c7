// Storage that the rows of one folder own. A load opens a block for the folder it reads,
// and while that thread calls file_handler the rows and actions it makes are cut from the
// block, one after the other, with no heap bookkeeping between them. Deleting one only
// counts it off; when the last row of the folder goes (the folder was left and its rows
// replaced), the whole block goes back to the system at once, so a large folder leaves
// no freed heap behind for the process to hold. Rows and actions made anywhere else come
// from the heap as usual.
#include "zinternal.h"
#include "zmenu.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#define MP_POISON(at, size) ASAN_POISON_MEMORY_REGION(at, size)
#define MP_UNPOISON(at, size) ASAN_UNPOISON_MEMORY_REGION(at, size)
#else
#define MP_POISON(at, size) ((void)(at), (void)(size))
#define MP_UNPOISON(at, size) ((void)(at), (void)(size))
#endif

struct ZwRowBlock {
    // The rows and actions in the block, and one more for the load while it makes them.
    std::atomic<size_t> live{1};
    std::vector<std::pair<char*, size_t>> areas; // mapped, in the order they were taken
    size_t used = 0;                             // bytes cut from them
    char* next = nullptr;
    char* end = nullptr;
    size_t nextArea = 0;
};

namespace {

// In front of each object: the block it was cut from, or null for the heap. Sixteen
// bytes keep the object as aligned as the heap would.
constexpr size_t kHeader = 16;
// Areas grow from a few rows' worth to a few megabytes, so that a small folder takes
// little and a large one few mappings.
constexpr size_t kFirstArea = 16 << 10;
constexpr size_t kLargestArea = 4 << 20;

thread_local ZwRowBlock* tOpenBlock = nullptr;
std::atomic<size_t> sUsedBytes{0}; // by the blocks still mapped

char* cut(ZwRowBlock* block, size_t bytes) {
    if (static_cast<size_t>(block->end - block->next) < bytes) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        size_t size = std::max(block->nextArea, (bytes + page - 1) / page * page);
        void* area = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (area == MAP_FAILED)
            return nullptr;
        block->areas.emplace_back(static_cast<char*>(area), size);
        block->next = static_cast<char*>(area);
        block->end = block->next + size;
        block->nextArea = std::min(block->nextArea * 2, kLargestArea);
    }
    char* at = block->next;
    block->next += bytes;
    block->used += bytes;
    sUsedBytes += bytes;
    return at;
}

void releaseBlock(ZwRowBlock* block) {
    if (block->live.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    for (auto& area : block->areas) {
        MP_UNPOISON(area.first, area.second); // the addresses may be mapped again
        munmap(area.first, area.second);
    }
    sUsedBytes -= block->used;
    delete block;
}

} // namespace

ZwRowBlock* zwOpenRowBlock() {
    auto* block = new ZwRowBlock;
    block->nextArea = kFirstArea;
    tOpenBlock = block;
    return block;
}

void zwCloseRowBlock(ZwRowBlock* block) {
    if (tOpenBlock == block)
        tOpenBlock = nullptr;
    releaseBlock(block);
}

size_t zwRowBlockBytes() {
    return sUsedBytes.load();
}

void* zwNewRowObject(size_t size) {
    const size_t bytes = (size + kHeader + 15) / 16 * 16;
    ZwRowBlock* block = tOpenBlock;
    char* at = block ? cut(block, bytes) : nullptr;
    if (at) {
        block->live.fetch_add(1, std::memory_order_relaxed);
    } else {
        block = nullptr;
        at = static_cast<char*>(::operator new(size + kHeader));
    }
    *reinterpret_cast<ZwRowBlock**>(at) = block;
    return at + kHeader;
}

void zwDeleteRowObject(void* object, size_t size) {
    if (!object)
        return;
    char* at = static_cast<char*>(object) - kHeader;
    ZwRowBlock* block = *reinterpret_cast<ZwRowBlock**>(at);
    if (!block) {
        ::operator delete(at);
        return;
    }
    MP_POISON(object, size); // a row used after its delete is still caught under ASan
    releaseBlock(block);
}

void* TextMenuItem::operator new(size_t size) {
    return zwNewRowObject(size);
}

void TextMenuItem::operator delete(void* object, size_t size) {
    zwDeleteRowObject(object, size);
}

void* Action::operator new(size_t size) {
    return zwNewRowObject(size);
}

void Action::operator delete(void* object, size_t size) {
    zwDeleteRowObject(object, size);
}
