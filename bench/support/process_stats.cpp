#include "process_stats.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <time.h>
#include <unistd.h>

namespace {

double monotonicSeconds() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

} // namespace

double median(std::vector<double> values) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

long processCpuTicks(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // After the name, which may hold spaces: state is field 3, utime and stime 14 and 15.
    size_t at = stat.rfind(')');
    if (at == std::string::npos)
        return -1;
    std::vector<std::string> fields;
    for (at += 2; at < stat.size();) {
        size_t space = stat.find(' ', at);
        fields.push_back(stat.substr(at, space - at));
        if (space == std::string::npos)
            break;
        at = space + 1;
    }
    return fields.size() > 12 ? std::stol(fields[11]) + std::stol(fields[12]) : -1;
}

double cpuPercentOver(pid_t pid, int seconds) {
    long ticks = processCpuTicks(pid);
    double start = monotonicSeconds();
    sleep(static_cast<unsigned>(seconds));
    long used = processCpuTicks(pid) - ticks;
    return 100.0 * static_cast<double>(used) / static_cast<double>(sysconf(_SC_CLK_TCK)) /
           (monotonicSeconds() - start);
}

bool processMemoryKb(pid_t pid, long* residentKb, long* anonymousKb) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    int found = 0;
    while (std::getline(in, line)) {
        if (line.compare(0, 6, "VmRSS:") == 0 && ++found)
            *residentKb = std::stol(line.substr(6));
        else if (line.compare(0, 8, "RssAnon:") == 0 && ++found)
            *anonymousKb = std::stol(line.substr(8));
    }
    return found == 2;
}
