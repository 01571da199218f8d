// SPDX-License-Identifier: MIT
#include "frame/local_time.hpp"

#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

namespace comm {
namespace {

// Where the C library takes the zone from when TZ is unset.
constexpr const char kZoneFile[] = "/etc/localtime";
// TZ values up to this length are compared with a copy; a longer one is
// taken as changed at every call (correct, only slower).
constexpr size_t kTzCopy = 128;

struct FileId {
    bool present;
    dev_t dev;
    ino_t ino;
    off_t size;
    struct timespec mtime;
    struct timespec ctime;

    bool operator==(const FileId &o) const {
        return present == o.present && dev == o.dev && ino == o.ino && size == o.size &&
               mtime.tv_sec == o.mtime.tv_sec && mtime.tv_nsec == o.mtime.tv_nsec &&
               ctime.tv_sec == o.ctime.tv_sec && ctime.tv_nsec == o.ctime.tv_nsec;
    }
};

// What the zone was made of at the last check on this thread.
struct ZoneWatch {
    bool primed;
    bool tz_set;
    bool tz_whole;  // the value fitted into tz
    char tz[kTzCopy];
    time_t file_second;  // wall-clock second of the last look at the file
    FileId file;
    uint32_t generation;  // moves on at every reload
};

struct NowCache {
    bool valid;
    time_t second;
    uint32_t generation;
    uint32_t serial;
    struct tm tm;
};

// Per thread, so that threads never share a record and no lock is needed;
// all zero at the start of each thread.
thread_local ZoneWatch t_watch;
thread_local NowCache t_now;

FileId zone_file_id() {
    FileId id{};
    struct stat st {};
    if (stat(kZoneFile, &st) != 0) return id;
    id.present = true;
    id.dev = st.st_dev;
    id.ino = st.st_ino;
    id.size = st.st_size;
    id.mtime = st.st_mtim;
    id.ctime = st.st_ctim;
    return id;
}

bool same_tz(const ZoneWatch &w, const char *tz) {
    if (tz == nullptr) return !w.tz_set;
    return w.tz_set && w.tz_whole && strcmp(tz, w.tz) == 0;
}

void remember_tz(ZoneWatch &w, const char *tz) {
    w.tz_set = tz != nullptr;
    const size_t len = tz != nullptr ? strlen(tz) : 0;
    w.tz_whole = len < sizeof w.tz;
    if (w.tz_set && w.tz_whole) memcpy(w.tz, tz, len + 1);
}

// Reloads the zone when TZ or the zone file changed; returns the thread's
// zone generation.
uint32_t current_zone(time_t now) {
    ZoneWatch &w = t_watch;
    const char *tz = getenv("TZ");
    bool reload = !w.primed || !same_tz(w, tz);
    if (tz == nullptr && (reload || now != w.file_second)) {
        const FileId id = zone_file_id();
        if (!(id == w.file)) reload = true;
        w.file = id;
        w.file_second = now;
    }
    if (reload) {
        tzset();
        remember_tz(w, tz);
        w.primed = true;
        ++w.generation;
    }
    return w.generation;
}

}  // namespace

bool local_time(time_t t, struct tm &out) {
    (void)current_zone(time(nullptr));
    return localtime_r(&t, &out) != nullptr;
}

const struct tm *local_now(time_t now, uint32_t &serial) {
    const uint32_t generation = current_zone(now);
    NowCache &c = t_now;
    if (c.serial == 0 || c.second != now || c.generation != generation) {
        c.valid = localtime_r(&now, &c.tm) != nullptr;
        c.second = now;
        c.generation = generation;
        if (++c.serial == 0) c.serial = 1;  // 0 stays "never made"
    }
    serial = c.serial;
    return c.valid ? &c.tm : nullptr;
}

}  // namespace comm
