// The order in which the library lists the names of a folder, and in which the playback
// service plays a folder's tracks, so that both agree: ASCII letters compare without
// case, a run of digits compares by its value ("track2" before "track10", "07" equal to
// "7"), a name that is a prefix of another comes first, and names that differ only in
// case or in leading zeros fall back to plain byte order. It is a total order.
//
// Sorting many names is fastest through naturalSortOrder, which compares precomputed
// keys instead of names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Whether a comes before b.
bool naturalLess(std::string_view a, std::string_view b);

// Appends the sort key of name to key. Comparing two keys byte by byte (as unsigned
// bytes, a key that is a prefix of the other first) gives the order of naturalLess,
// except that names with equal keys are then ordered by their own bytes.
void appendNaturalKey(std::string_view name, std::string* key);

// Sets order to the indexes 0 .. names.size() - 1 arranged so that the names they
// designate stand in natural order.
void naturalSortOrder(const std::vector<std::string_view>& names, std::vector<uint32_t>* order);

// Sorts names in natural order.
void naturalSort(std::vector<std::string>* names);
