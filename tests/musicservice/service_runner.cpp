#include "service_runner.h"

#include "base/device_paths.h"
#include "build_program.h"
#include "service/commands.h"
#include "status/track_dump.h"

#include <cerrno>
#include <cjson/cJSON.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr int kPollMs = 5;

void sleepMs(int ms) {
    struct timespec duration = {ms / 1000, static_cast<long>(ms % 1000) * 1000000L};
    nanosleep(&duration, nullptr);
}

// waitpid with a deadline: the status, or -1 when the process is still running.
int waitExit(pid_t pid, int timeoutMs) {
    long deadline = monotonicMs() + timeoutMs;
    for (;;) {
        int status = 0;
        pid_t done = waitpid(pid, &status, WNOHANG);
        if (done == pid)
            return status;
        if (done < 0 && errno != EINTR)
            return -1;
        if (monotonicMs() > deadline)
            return -1;
        sleepMs(kPollMs);
    }
}

std::string fileText(const char* path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

ino_t statusInode() {
    struct stat info;
    return stat(MP_STATUS_FILE, &info) == 0 ? info.st_ino : 0;
}

} // namespace

long monotonicMs() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long>(now.tv_sec) * 1000L + now.tv_nsec / 1000000L;
}

const char* musicServiceBinary() {
    return MP_MUSICSERVICE_BIN;
}

const char* demoLibraryDir() {
    return MP_DEMO_LIBRARY_DIR;
}

int spawnMusicService(ServiceProcess* service, const std::vector<std::string>& args) {
    static int sStarts = 0;
    service->logPath = std::string(MP_SERVICE_LOG_DIR) + "/musicservice-" + std::to_string(getpid()) + "-" +
                       std::to_string(++sStarts) + ".log";
    pid_t pid = fork();
    if (pid < 0)
        return -1;
    if (pid == 0) {
        int log = open(service->logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (log >= 0) {
            dup2(log, STDERR_FILENO);
            dup2(log, STDOUT_FILENO);
        }
        setenv("SDL_AUDIODRIVER", "dummy", 1);
        execBuildProgram(MP_MUSICSERVICE_BIN, args);
        _exit(127);
    }
    service->pid = pid;
    return 0;
}

int waitMusicServiceExit(ServiceProcess* service, int timeoutMs) {
    if (service->pid <= 0)
        return -1;
    int status = waitExit(service->pid, timeoutMs);
    if (status >= 0)
        service->pid = -1;
    return status;
}

int startMusicService(ServiceProcess* service, const std::vector<std::string>& args, int timeoutMs) {
    if (spawnMusicService(service, args) < 0)
        return -1;
    long deadline = monotonicMs() + timeoutMs;
    while (monotonicMs() < deadline) {
        int status = 0;
        if (waitpid(service->pid, &status, WNOHANG) == service->pid) {
            service->pid = -1;
            return -1;
        }
        if (serviceAnswers())
            return 0;
        sleepMs(kPollMs * 2);
    }
    killMusicService(service);
    return -1;
}

int stopMusicService(ServiceProcess* service, int timeoutMs) {
    if (service->pid <= 0)
        return -1;
    kill(service->pid, SIGTERM);
    int status = waitExit(service->pid, timeoutMs);
    if (status < 0) {
        kill(service->pid, SIGKILL);
        status = waitExit(service->pid, timeoutMs);
    }
    service->pid = -1;
    return status;
}

void killMusicService(ServiceProcess* service) {
    if (service->pid <= 0)
        return;
    kill(service->pid, SIGKILL);
    waitExit(service->pid, 15000);
    service->pid = -1;
}

std::string serviceLog(const ServiceProcess& service) {
    return fileText(service.logPath.c_str());
}

bool serviceAnswers() {
    return getPlayMode() >= 0;
}

bool readStatusRecord(MusicPlayingStatus* record) {
    std::string text = fileText(MP_STATUS_FILE);
    cJSON* root = cJSON_Parse(text.c_str());
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
    long deadline = monotonicMs() + timeoutMs;
    for (;;) {
        if (readStatusRecord(record) && condition(*record))
            return true;
        if (monotonicMs() > deadline)
            return false;
        sleepMs(kPollMs);
    }
}

bool waitForStatusRewrites(int count, int timeoutMs) {
    long deadline = monotonicMs() + timeoutMs;
    ino_t last = statusInode();
    int seen = 0;
    while (seen < count) {
        if (monotonicMs() > deadline)
            return false;
        sleepMs(kPollMs);
        ino_t now = statusInode();
        if (now != last) {
            ++seen;
            last = now;
        }
    }
    return true;
}
