#include "service_runner.h"

#include "../support/wait_until.h"
#include "base/device_paths.h"
#include "build_program.h"
#include "scratch_dir.h"
#include "service/client/commands.h"
#include "status/track_dump.h"

#include <chrono>
#include <cjson/cJSON.h>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

long monotonicMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

const char* demoLibraryDir() {
    return MP_DEMO_LIBRARY_DIR;
}

int spawnMusicService(ServiceProcess* service, const std::vector<std::string>& args) {
    static int sStarts = 0;
    service->logPath = std::string(MP_SERVICE_LOG_DIR) + "/musicservice-" + std::to_string(getpid()) + "-" +
                       std::to_string(++sStarts) + ".log";
    pid_t pid = fork();
    if (pid == 0) {
        int log = open(service->logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(log, STDERR_FILENO);
        dup2(log, STDOUT_FILENO);
        setenv("SDL_AUDIODRIVER", "dummy", 0);
        execBuildProgram(MP_MUSICSERVICE_BIN, args);
        _exit(127);
    }
    service->pid = pid;
    return pid > 0 ? 0 : -1;
}

int waitMusicServiceExit(ServiceProcess* service, int timeoutMs) {
    int status = -1;
    if (service->pid <= 0 ||
        !waitUntil([&] { return waitpid(service->pid, &status, WNOHANG) == service->pid; }, timeoutMs))
        return -1;
    service->pid = -1;
    return status;
}

int startMusicService(ServiceProcess* service, const std::vector<std::string>& args, int timeoutMs) {
    if (spawnMusicService(service, args) < 0)
        return -1;
    // Until the socket answers a query, or the process has ended.
    if (waitUntil([&] { return getPlayMode() >= 0 || waitMusicServiceExit(service, 0) >= 0; }, timeoutMs) &&
        service->pid > 0)
        return 0;
    killMusicService(service);
    return -1;
}

int stopMusicService(ServiceProcess* service, int timeoutMs) {
    if (service->pid <= 0)
        return -1;
    kill(service->pid, SIGTERM);
    int status = waitMusicServiceExit(service, timeoutMs);
    if (status < 0 && kill(service->pid, SIGKILL) == 0)
        status = waitMusicServiceExit(service, timeoutMs);
    service->pid = -1;
    return status;
}

void killMusicService(ServiceProcess* service) {
    if (service->pid > 0)
        kill(service->pid, SIGKILL);
    waitMusicServiceExit(service, 15000);
    service->pid = -1;
}

std::string serviceLog(const ServiceProcess& service) {
    return readFile(service.logPath);
}

bool readStatusRecord(MusicPlayingStatus* record) {
    cJSON* root = cJSON_Parse(readFile(MP_STATUS_FILE).c_str());
    if (!root)
        return false;
    TrackDump dump;
    parseMusicInfo(&dump);
    storeStatusRecord(root, dump, record);
    cJSON_Delete(root);
    return true;
}

bool waitForStatus(const std::function<bool(const MusicPlayingStatus&)>& condition, int timeoutMs,
                   MusicPlayingStatus* record) {
    return waitUntil([&] { return readStatusRecord(record) && condition(*record); }, timeoutMs);
}

static ino_t statusInode() {
    struct stat info;
    return stat(MP_STATUS_FILE, &info) == 0 ? info.st_ino : 0;
}

bool waitForStatusRewrites(int count, int timeoutMs) {
    ino_t last = statusInode();
    return waitUntil([&] { return (count -= std::exchange(last, statusInode()) != last) <= 0; }, timeoutMs);
}

int statusRewritesDuring(int ms, const std::function<void()>& meanwhile) {
    int rewrites = 0;
    ino_t last = statusInode();
    for (long start = monotonicMs(), call = start; monotonicMs() < start + ms; usleep(500)) {
        rewrites += std::exchange(last, statusInode()) != last;
        if (monotonicMs() >= call) {
            meanwhile();
            call += 16;
        }
    }
    return rewrites;
}

bool closedByService(int fd, int timeoutMs) {
    char bytes[4096];
    struct pollfd readable = {fd, POLLIN, 0};
    return waitUntil([&] { return poll(&readable, 1, 10) > 0 && read(fd, bytes, sizeof bytes) <= 0; },
                     timeoutMs);
}

int runFfmpeg(const std::string& arguments) {
    return system(("ffmpeg -hide_banner -loglevel error -nostdin -y " + arguments).c_str());
}
