// Starts and stops the real musicservice binary of the build for tests and benchmarks,
// and reads back what it reports with the front end's own status code.
//
// The service runs with SDL's dummy audio driver (unless SDL_AUDIODRIVER names another)
// under the build's device root; its log goes to a file beside the build's test output.
#pragma once

#include "status/music_status.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

struct ServiceProcess {
    pid_t pid = -1;
    std::string logPath;
};

// The demo library of this build.
const char* demoLibraryDir();

// Launches the service with the extra arguments and waits, up to timeoutMs, until its
// socket answers a query. 0, or -1 (the process is then ended).
int startMusicService(ServiceProcess* service, const std::vector<std::string>& args = {},
                      int timeoutMs = 30000);
// Launches the service without waiting for it: 0 or -1.
int spawnMusicService(ServiceProcess* service, const std::vector<std::string>& args = {});
// Waits up to timeoutMs for the process to end by itself: its exit status as waitpid
// gives it, or -1 when it still runs.
int waitMusicServiceExit(ServiceProcess* service, int timeoutMs);
// SIGTERM, then SIGKILL after timeoutMs: the exit status as waitpid gives it, -1 when
// nothing ran.
int stopMusicService(ServiceProcess* service, int timeoutMs = 15000);
// SIGKILL at once, as a crash would end it.
void killMusicService(ServiceProcess* service);

// The service's log so far.
std::string serviceLog(const ServiceProcess& service);

// One read of the status file and the metadata dump into a record, the way the front
// end's monitor stores them (tags merged and repaired). false when the status file is
// missing or does not parse.
bool readStatusRecord(MusicPlayingStatus* record);
// Re-reads the status file until the condition holds or timeoutMs has passed: true when
// it held; *record is the last record read.
bool waitForStatus(const std::function<bool(const MusicPlayingStatus&)>& condition, int timeoutMs,
                   MusicPlayingStatus* record);
// Waits until the status file has been replaced count more times.
bool waitForStatusRewrites(int count, int timeoutMs);
// How often the status file is replaced during ms milliseconds, while meanwhile() is
// called about 60 times a second.
int statusRewritesDuring(int ms, const std::function<void()>& meanwhile);
// True when the service closes the connection within timeoutMs (whatever it sent).
bool closedByService(int fd, int timeoutMs);

// Milliseconds on a monotonic clock.
long monotonicMs();

// Runs the machine's ffmpeg quietly with the arguments (a shell command line), to make
// test media: its exit status.
int runFfmpeg(const std::string& arguments);
