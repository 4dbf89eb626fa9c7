#include "musicservice/key_value_file.h"

#include "base/fd_io.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string trimmed(const std::string& text) {
    size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
        return std::string();
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

} // namespace

int readKeyValueFile(const char* path, size_t maxBytes, std::vector<KeyValue>* entries, int* badLine) {
    entries->clear();
    *badLine = 0;
    // Without blocking: a FIFO put in its place must not hold the service at start.
    int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return errno == ENOENT ? 0 : -1;
    struct stat info;
    std::string text;
    bool ok = fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && static_cast<size_t>(info.st_size) <= maxBytes;
    if (ok) {
        text.resize(static_cast<size_t>(info.st_size));
        ok = readFully(fd, &text[0], text.size(), 1000) == text.size();
    }
    close(fd);
    if (!ok)
        return -1;
    int number = 0;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = trimmed(text.substr(start, end - start));
        start = end + 1;
        ++number;
        if (line.empty() || line[0] == '#')
            continue;
        size_t equals = line.find('=');
        std::string key = equals == std::string::npos ? std::string() : trimmed(line.substr(0, equals));
        if (key.empty() || line.find('\0') != std::string::npos) {
            if (*badLine == 0)
                *badLine = number;
            continue;
        }
        entries->push_back(KeyValue{key, trimmed(line.substr(equals + 1)), number});
    }
    return *badLine == 0 ? 1 : -1;
}
