#include "base/natural_order.h"

#include <algorithm>
#include <cstring>

namespace {

inline bool isDigit(unsigned char c) {
    return c >= '0' && c <= '9';
}

inline unsigned char lowerAscii(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

// A digit run stands in a key as this byte, its length without leading zeros and those
// digits. Against a letter or other byte, naturalLess weighs a digit run by its first
// digit; no byte outside a run can be a digit, so any one digit does as the marker.
constexpr char kNumberMarker = '0';

void appendRunLength(size_t length, std::string* key) {
    // One byte below 255, else 255 and four bytes, most significant first: the byte
    // order of the encodings is the order of the lengths.
    if (length < 255) {
        key->push_back(static_cast<char>(length));
        return;
    }
    uint32_t value = length > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(length);
    key->push_back(static_cast<char>(0xFF));
    for (int shift = 24; shift >= 0; shift -= 8)
        key->push_back(static_cast<char>((value >> shift) & 0xFF));
}

// The first eight bytes from offset on, most significant first, zero beyond the end.
inline uint64_t keyWord(const unsigned char* key, size_t length, size_t offset) {
    uint64_t word = 0;
    for (size_t i = 0; i < 8; ++i) {
        size_t at = offset + i;
        word = (word << 8) | (at < length ? key[at] : 0u);
    }
    return word;
}

struct SortEntry {
    uint64_t head[2]; // sixteen key bytes from the depth being sorted
    uint32_t index;
};

// The keys of all names in one block, a key found by its offset and ending at the next.
struct KeyBlock {
    const unsigned char* base;
    const std::vector<uint32_t>& offsets;
    const std::vector<std::string_view>& names;
    size_t length(uint32_t index) const { return offsets[index + 1] - offsets[index]; }
};

// Sorts entries whose keys agree on their first depth bytes, by the sixteen bytes that
// follow (zero past a key's end), then each run that still agrees by the next sixteen,
// and so on: every comparison is between two entries already in hand, and a key is read
// once per level instead of once per comparison. Keys that agree to their ends are
// ordered by length (a key before those it is a prefix of), then by their names.
void sortByKeys(SortEntry* first, SortEntry* last, size_t depth, const KeyBlock& keys) {
    for (SortEntry* entry = first; entry != last; ++entry) {
        const unsigned char* key = keys.base + keys.offsets[entry->index];
        size_t length = keys.length(entry->index);
        entry->head[0] = keyWord(key, length, depth);
        entry->head[1] = keyWord(key, length, depth + 8);
    }
    auto sameHead = [](const SortEntry& x, const SortEntry& y) {
        return x.head[0] == y.head[0] && x.head[1] == y.head[1];
    };
    std::sort(first, last, [](const SortEntry& x, const SortEntry& y) {
        return x.head[0] != y.head[0] ? x.head[0] < y.head[0] : x.head[1] < y.head[1];
    });
    for (SortEntry* run = first; run != last;) {
        SortEntry* end = run + 1;
        bool longer = keys.length(run->index) > depth + 16;
        for (; end != last && sameHead(*run, *end); ++end)
            longer = longer || keys.length(end->index) > depth + 16;
        if (end - run > 1 && longer) {
            sortByKeys(run, end, depth + 16, keys);
        } else if (end - run > 1) {
            std::sort(run, end, [&](const SortEntry& x, const SortEntry& y) {
                size_t lx = keys.length(x.index), ly = keys.length(y.index);
                return lx != ly ? lx < ly : keys.names[x.index] < keys.names[y.index];
            });
        }
        run = end;
    }
}

} // namespace

bool naturalLess(std::string_view a, std::string_view b) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        unsigned char ca = static_cast<unsigned char>(a[i]), cb = static_cast<unsigned char>(b[j]);
        if (isDigit(ca) && isDigit(cb)) {
            size_t si = i, sj = j;
            while (si < a.size() && a[si] == '0')
                ++si;
            while (sj < b.size() && b[sj] == '0')
                ++sj;
            size_t ei = si, ej = sj;
            while (ei < a.size() && isDigit(static_cast<unsigned char>(a[ei])))
                ++ei;
            while (ej < b.size() && isDigit(static_cast<unsigned char>(b[ej])))
                ++ej;
            if (ei - si != ej - sj)
                return ei - si < ej - sj;
            int order = a.substr(si, ei - si).compare(b.substr(sj, ej - sj));
            if (order != 0)
                return order < 0;
            i = ei;
            j = ej;
            continue;
        }
        unsigned char la = lowerAscii(ca), lb = lowerAscii(cb);
        if (la != lb)
            return la < lb;
        ++i;
        ++j;
    }
    if (a.size() - i != b.size() - j)
        return a.size() - i < b.size() - j;
    return a < b;
}

void appendNaturalKey(std::string_view name, std::string* key) {
    size_t i = 0;
    while (i < name.size()) {
        unsigned char c = static_cast<unsigned char>(name[i]);
        if (!isDigit(c)) {
            key->push_back(static_cast<char>(lowerAscii(c)));
            ++i;
            continue;
        }
        size_t start = i;
        while (start < name.size() && name[start] == '0')
            ++start;
        size_t end = start;
        while (end < name.size() && isDigit(static_cast<unsigned char>(name[end])))
            ++end;
        key->push_back(kNumberMarker);
        appendRunLength(end - start, key);
        key->append(name.data() + start, end - start);
        i = end;
    }
}

void naturalSortOrder(const std::vector<std::string_view>& names, std::vector<uint32_t>* order) {
    const size_t count = names.size();
    // All keys in one block; a key is found by its offset, its end by the next offset.
    // A key is at most five bytes longer than its name per digit run, and a run takes
    // at least one byte of the name.
    size_t capacity = 0;
    for (const std::string_view& name : names)
        capacity += name.size() * 6;
    std::string keys;
    keys.reserve(capacity);
    std::vector<uint32_t> offsets(count + 1);
    for (size_t n = 0; n < count; ++n) {
        offsets[n] = static_cast<uint32_t>(keys.size());
        appendNaturalKey(names[n], &keys);
    }
    offsets[count] = static_cast<uint32_t>(keys.size());

    std::vector<SortEntry> entries(count);
    for (size_t n = 0; n < count; ++n)
        entries[n].index = static_cast<uint32_t>(n);
    KeyBlock block{reinterpret_cast<const unsigned char*>(keys.data()), offsets, names};
    sortByKeys(entries.data(), entries.data() + count, 0, block);
    order->resize(count);
    for (size_t n = 0; n < count; ++n)
        (*order)[n] = entries[n].index;
}

void naturalSort(std::vector<std::string>* names) {
    std::vector<std::string_view> views(names->begin(), names->end());
    std::vector<uint32_t> order;
    naturalSortOrder(views, &order);
    std::vector<std::string> sorted;
    sorted.reserve(names->size());
    for (uint32_t index : order)
        sorted.push_back(std::move((*names)[index]));
    names->swap(sorted);
}
