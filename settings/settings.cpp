// File-backed stand-in for the system's settings library.
//
// The file holds one "key=value" per line. A missing file reads as empty
// settings. Writes go to a temporary file beside the real one, are synced,
// then renamed over it, so that a crash leaves either the old or the new file.
#include "zev_settings.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

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

bool store(const char *path, const std::vector<Entry> &entries) {
    std::string data;
    for (const Entry &e : entries) data += e.key + "=" + e.value + "\n";
    const std::string tmp = std::string(path) + ".tmp." + std::to_string(getpid());
    const int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    const bool ok = write_all(fd, data) && fsync(fd) == 0;
    if (close(fd) != 0 || !ok || rename(tmp.c_str(), path) != 0) {
        unlink(tmp.c_str());
        return false;
    }
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
        strchr(key, '=') != nullptr || strpbrk(key, "\r\n") != nullptr ||
        strpbrk(value, "\r\n") != nullptr)
        return -1;
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
