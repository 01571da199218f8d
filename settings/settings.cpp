// SPDX-License-Identifier: MIT
// File-backed stand-in for the system's settings library.
//
// The file holds one "key=value" per line. A missing file reads as empty
// settings. A write takes an exclusive flock on "FILE.lock" (threads and
// processes alike), reads the file, writes a temporary file of a unique
// name beside it, syncs it, renames it over the file and syncs the folder,
// so that a crash leaves either the old or the new file and no update is
// lost to another writer. Temporary files left by a writer that was killed
// are removed by the next write.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "zev_settings.h"

#define SETTINGS_API extern "C" __attribute__((visibility("default")))

namespace {

const char *settings_path() {
    const char *p = getenv("ZEV_SETTINGS_FILE");
    return (p != nullptr && *p != '\0') ? p : nullptr;
}

struct Entry {
    std::string key;
    std::string value;
};

std::vector<Entry> load(const char *path) {
    std::vector<Entry> entries;
    FILE *f = fopen(path, "r");
    if (f == nullptr) return entries;
    char *line = nullptr;
    size_t cap = 0;
    ssize_t n;
    while ((n = getline(&line, &cap, f)) > 0) {
        std::string s(line, static_cast<size_t>(n));
        while (!s.empty() && (s.back() == '\n' || s.back() == '\r')) s.pop_back();
        const size_t eq = s.find('=');
        if (eq == std::string::npos || eq == 0) continue;
        entries.push_back({s.substr(0, eq), s.substr(eq + 1)});
    }
    free(line);
    fclose(f);
    return entries;
}

bool write_all(int fd, const std::string &data) {
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = write(fd, data.data() + done, data.size() - done);
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

constexpr const char *kTempMark = ".tmp.";

std::string folder_of(const std::string &path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Held for the whole read-change-write of one set; released on close, and
// by the kernel when the process dies.
class WriteLock {
public:
    explicit WriteLock(const std::string &path)
        : fd_(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
        if (fd_ >= 0 && flock(fd_, LOCK_EX) != 0) {
            close(fd_);
            fd_ = -1;
        }
    }
    ~WriteLock() {
        if (fd_ >= 0) close(fd_);
    }
    WriteLock(const WriteLock &) = delete;
    WriteLock &operator=(const WriteLock &) = delete;
    bool held() const { return fd_ >= 0; }

private:
    int fd_;
};

// Only writers make temporary files, and only under the lock: any found
// while it is held were left by a writer that died.
void remove_stale_temps(const std::string &path) {
    const std::string folder = folder_of(path);
    const std::string prefix = path.substr(path.rfind('/') + 1) + kTempMark;
    DIR *dir = opendir(folder.c_str());
    if (dir == nullptr) return;
    while (const dirent *e = readdir(dir)) {
        if (strncmp(e->d_name, prefix.c_str(), prefix.size()) == 0)
            unlink((folder + "/" + e->d_name).c_str());
    }
    closedir(dir);
}

void sync_folder(const std::string &path) {
    const int fd = open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    (void)fsync(fd);
    close(fd);
}

bool store(const std::string &path, const std::vector<Entry> &entries) {
    std::string data;
    for (const Entry &e : entries) data += e.key + "=" + e.value + "\n";
    std::string tmp = path + kTempMark + "XXXXXX";
    const int fd = mkostemp(tmp.data(), O_CLOEXEC);
    if (fd < 0) return false;
    const bool ok = fchmod(fd, 0644) == 0 && write_all(fd, data) && fsync(fd) == 0;
    if (close(fd) != 0 || !ok || rename(tmp.c_str(), path.c_str()) != 0) {
        unlink(tmp.c_str());
        return false;
    }
    sync_folder(path);
    return true;
}

}  // namespace

SETTINGS_API int Zev_Settings_GetKeyStrVal(const char *key, char *buf, int size) {
    const char *path = settings_path();
    if (key == nullptr || buf == nullptr || size <= 0 || path == nullptr) return -1;
    for (const Entry &e : load(path)) {
        if (e.key != key) continue;
        const size_t n = std::min(e.value.size(), static_cast<size_t>(size - 1));
        memcpy(buf, e.value.data(), n);
        buf[n] = '\0';
        return 0;
    }
    return -1;
}

SETTINGS_API int Zev_Settings_CompStr(const char *a, const char *b) {
    if (a == nullptr || b == nullptr) return a == b ? 0 : 1;
    return strcmp(a, b);
}

SETTINGS_API int Zev_Settings_Set(const char *key, const char *value) {
    const char *path = settings_path();
    if (key == nullptr || value == nullptr || path == nullptr || *key == '\0' ||
        strchr(key, '=') != nullptr || strpbrk(key, "\r\n") != nullptr || strpbrk(value, "\r\n") != nullptr)
        return -1;
    const WriteLock lock(path);
    if (!lock.held()) return -1;
    remove_stale_temps(path);
    std::vector<Entry> entries = load(path);
    bool found = false;
    for (Entry &e : entries) {
        if (e.key == key) {
            e.value = value;
            found = true;
        }
    }
    if (!found) entries.push_back({key, value});
    return store(path, entries) ? 0 : -1;
}

SETTINGS_API int Zev_Settings_UnProtect(int flag) {
    (void)flag;
    return 0;
}
