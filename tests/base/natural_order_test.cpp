// The natural order: a table of the order the library shows, then the comparison, the
// sort keys and the key sort checked against one another on names built to hit digit
// runs, leading zeros, case and prefixes.
#include "base/natural_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

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

// The order of the keys, the names themselves deciding between equal keys.
bool keyOrder(const std::string& a, const std::string& b) {
    std::string ka, kb;
    appendNaturalKey(a, &ka);
    appendNaturalKey(b, &kb);
    return ka != kb ? ka < kb : a < b;
}

} // namespace

TEST(NaturalOrder, ReadsLikeAPersonWouldSortTracks) {
    std::vector<std::string> names = {"track10.mp3", "Track2.mp3", "track1.mp3", "track01.mp3", "a",   "A",
                                      "a0",          "b",          "10 x",       "9 x",         "x-1", "x1"};
    naturalSort(&names);
    EXPECT_EQ(names, (std::vector<std::string>{"9 x", "10 x", "A", "a", "a0", "b", "track01.mp3",
                                               "track1.mp3", "Track2.mp3", "track10.mp3", "x-1", "x1"}));
    // Digit runs longer than a length byte holds.
    std::string longRun(300, '7'), longer(301, '1');
    EXPECT_TRUE(naturalLess("x" + longRun, "x" + longer) && keyOrder("x" + longRun, "x" + longer));
    EXPECT_FALSE(naturalLess("x" + longer, "x" + longRun) || keyOrder("x" + longer, "x" + longRun));
}

TEST(NaturalOrder, ComparisonKeysAndKeySortAgree) {
    std::mt19937 random(20240611);
    for (int n = 0; n < 200000; ++n) {
        std::string a = randomName(random), b = randomName(random);
        if (n % 7 == 0)
            b = a + randomName(random); // prefixes
        if (n % 11 == 0)
            b = "0" + a; // a leading zero more
        ASSERT_EQ(naturalLess(a, b), keyOrder(a, b)) << '"' << a << "\" vs \"" << b << '"';
    }
    for (int round = 0; round < 50; ++round) {
        std::vector<std::string> names;
        // Many names share a long head, so that whole keys and names must decide.
        for (int n = 0; n < 2000; ++n)
            names.push_back((n % 3 ? "Disc 01 - Track " : "disc 1 - track ") + randomName(random));
        std::vector<std::string> expected = names;
        std::stable_sort(expected.begin(), expected.end(),
                         [](auto& a, auto& b) { return naturalLess(a, b); });
        naturalSort(&names);
        ASSERT_EQ(names, expected) << "round " << round;
    }
}
