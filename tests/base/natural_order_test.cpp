// The natural order: the comparison, the sort keys and the key sort must agree with each
// other and with the order the library has always shown, on names built to hit digit
// runs, leading zeros, case and prefixes.
#include "base/natural_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>
#include <string>
#include <vector>

namespace {

// The comparison as the file list had it before the order moved to the bottom floor.
bool listOrder(const std::string& a, const std::string& b) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        unsigned char ca = static_cast<unsigned char>(a[i]), cb = static_cast<unsigned char>(b[j]);
        if (isdigit(ca) && isdigit(cb)) {
            size_t si = i, sj = j;
            while (si < a.size() && a[si] == '0')
                ++si;
            while (sj < b.size() && b[sj] == '0')
                ++sj;
            size_t ei = si, ej = sj;
            while (ei < a.size() && isdigit(static_cast<unsigned char>(a[ei])))
                ++ei;
            while (ej < b.size() && isdigit(static_cast<unsigned char>(b[ej])))
                ++ej;
            if (ei - si != ej - sj)
                return ei - si < ej - sj;
            int order = a.compare(si, ei - si, b, sj, ej - sj);
            if (order != 0)
                return order < 0;
            i = ei;
            j = ej;
            continue;
        }
        int la = tolower(ca), lb = tolower(cb);
        if (la != lb)
            return la < lb;
        ++i;
        ++j;
    }
    if ((a.size() - i) != (b.size() - j))
        return a.size() - i < b.size() - j;
    return a < b;
}

// Short names from an alphabet where digits, zeros, case pairs and the bytes just
// around the digits ('/' and ':') meet often.
std::string randomName(std::mt19937& random) {
    static const std::string alphabet = "0000123456789aAbBzZ /:-._\x7f\xc3\xa9";
    std::uniform_int_distribution<size_t> length(0, 9), pick(0, alphabet.size() - 1);
    std::string name;
    for (size_t n = length(random); n > 0; --n)
        name.push_back(alphabet[pick(random)]);
    return name;
}

std::string keyOf(const std::string& name) {
    std::string key;
    appendNaturalKey(name, &key);
    return key;
}

bool keyOrder(const std::string& a, const std::string& b) {
    std::string ka = keyOf(a), kb = keyOf(b);
    return ka != kb ? ka < kb : a < b;
}

} // namespace

TEST(NaturalOrder, ReadsLikeAPersonWouldSortTracks) {
    std::vector<std::string> names = {"track10.mp3", "Track2.mp3", "track1.mp3", "track01.mp3", "a", "A",
                                      "a0",          "b",          "10 x",       "9 x",         "x-1", "x1"};
    naturalSort(&names);
    EXPECT_EQ(names, (std::vector<std::string>{"9 x", "10 x", "A", "a", "a0", "b", "track01.mp3", "track1.mp3",
                                               "Track2.mp3", "track10.mp3", "x-1", "x1"}));
}

TEST(NaturalOrder, ComparisonAndKeysAgreeWithTheListsOrder) {
    std::mt19937 random(20240611);
    for (int n = 0; n < 200000; ++n) {
        std::string a = randomName(random), b = randomName(random);
        if (n % 7 == 0)
            b = a + randomName(random); // prefixes
        if (n % 11 == 0)
            b = "0" + a; // a leading zero more
        ASSERT_EQ(naturalLess(a, b), listOrder(a, b)) << '"' << a << "\" vs \"" << b << '"';
        ASSERT_EQ(keyOrder(a, b), listOrder(a, b)) << '"' << a << "\" vs \"" << b << '"';
    }
    // Digit runs longer than a length byte holds.
    std::string longRun(300, '7'), longer(301, '1');
    EXPECT_TRUE(naturalLess("x" + longRun, "x" + longer));
    EXPECT_TRUE(keyOrder("x" + longRun, "x" + longer));
    EXPECT_FALSE(keyOrder("x" + longer, "x" + longRun));
}

TEST(NaturalOrder, KeySortGivesTheSameSequenceAsSortingByComparison) {
    std::mt19937 random(7);
    for (int round = 0; round < 50; ++round) {
        std::vector<std::string> names;
        // Many names share a long head, so that whole keys and names must decide.
        for (int n = 0; n < 2000; ++n)
            names.push_back((n % 3 ? "Disc 01 - Track " : "disc 1 - track ") + randomName(random));
        std::vector<std::string> expected = names;
        std::stable_sort(expected.begin(), expected.end(), listOrder);
        std::vector<std::string> sorted = names;
        naturalSort(&sorted);
        ASSERT_EQ(sorted, expected) << "round " << round;
    }
}
