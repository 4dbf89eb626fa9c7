// What another process costs, read from /proc, for the benchmarks that run whole programs.
#pragma once

#include <sys/types.h>
#include <vector>

double median(std::vector<double> values);
// User and system time of the process so far, in clock ticks; -1 when it cannot be read.
long processCpuTicks(pid_t pid);
// The CPU the process uses over the next seconds, as percent of one core.
double cpuPercentOver(pid_t pid, int seconds);
// Resident and anonymous resident memory in kB (VmRSS, RssAnon); false when unreadable.
bool processMemoryKb(pid_t pid, long* residentKb, long* anonymousKb);
