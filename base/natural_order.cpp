#include "base/natural_order.h"

#include <cctype>

bool naturalLess(const std::string& a, const std::string& b) {
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
