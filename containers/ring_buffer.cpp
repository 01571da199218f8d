// SPDX-License-Identifier: MIT
// The named byte ring. Invariant: 0 <= read, write < capacity; the bytes
// stored are those from read up to (not including) write, wrapping at the
// end, so read == write is empty and one slot always stays free. A string
// moves as at most two memcpy calls, one up to the end and one from the
// start.
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "comm_log.h"
#include "comm_ringbuffer.h"
#include "containers/mutex_lock.hpp"

namespace comm {
namespace {

constexpr size_t kNameSize = RINGBUFFER_NAME_MAX + 1;
constexpr useconds_t kRetrySleepUs = 10000;

struct Ring {
    char szName[kNameSize];
    uint8_t *pu8Data;
    int32_t iCapacity;
    int32_t iReadIdx;
    int32_t iWriteIdx;
    int32_t iDataSize;
    pthread_mutex_t stMutex;
    pthread_cond_t stCond;
};

Ring &ring_of(void *handle) { return *static_cast<Ring *>(handle); }

// The indices are shared with lock-free peers (one thread storing through
// RingBuffer_In, one taking through RingBuffer_Out): a side publishes its
// index after its bytes and reads the other side's index before touching
// the bytes behind it.
int32_t load_own(int32_t &index) { return std::atomic_ref<int32_t>(index).load(std::memory_order_relaxed); }
int32_t load_peer(int32_t &index) { return std::atomic_ref<int32_t>(index).load(std::memory_order_acquire); }
void publish(int32_t &index, int32_t value) {
    std::atomic_ref<int32_t>(index).store(value, std::memory_order_release);
}
void add_data_size(Ring &r, int32_t delta) {
    std::atomic_ref<int32_t>(r.iDataSize).fetch_add(delta, std::memory_order_relaxed);
}

// Free bytes between the write index and the byte before the read index.
int32_t room(int32_t capacity, int32_t read, int32_t write) {
    return read > write ? read - write - 1 : capacity - write + read - 1;
}

int32_t stored(int32_t capacity, int32_t read, int32_t write) {
    return write >= read ? write - read : capacity - read + write;
}

int32_t advance(int32_t capacity, int32_t index, int32_t count) {
    const int32_t to_end = capacity - index;
    return count < to_end ? index + count : count - to_end;
}

// Both log lines come from these two statements whoever moves the bytes.
void log_full(const Ring &r) { ZEV_COMM_LOG_AS(DDD, "RingBuffer_In", "%s:full\n", r.szName); }
void log_empty(const Ring &r) { ZEV_COMM_LOG_AS(VVV, "RingBuffer_Out", "%s:empty\n", r.szName); }

// Stores min(len, room) bytes in order; returns how many. No log line.
int32_t put_bytes(Ring &r, const uint8_t *src, int32_t len) {
    const int32_t write = load_own(r.iWriteIdx);
    const int32_t free_bytes = room(r.iCapacity, load_peer(r.iReadIdx), write);
    const int32_t n = len < free_bytes ? len : free_bytes;
    if (n <= 0) return 0;
    const int32_t first = n < r.iCapacity - write ? n : r.iCapacity - write;
    memcpy(r.pu8Data + write, src, static_cast<size_t>(first));
    memcpy(r.pu8Data, src + first, static_cast<size_t>(n - first));
    publish(r.iWriteIdx, advance(r.iCapacity, write, n));
    add_data_size(r, n);
    return n;
}

// Takes min(len, stored) bytes in order; returns how many. No log line.
int32_t take_bytes(Ring &r, uint8_t *dst, int32_t len) {
    const int32_t read = load_own(r.iReadIdx);
    const int32_t available = stored(r.iCapacity, read, load_peer(r.iWriteIdx));
    const int32_t n = len < available ? len : available;
    if (n <= 0) return 0;
    const int32_t first = n < r.iCapacity - read ? n : r.iCapacity - read;
    memcpy(dst, r.pu8Data + read, static_cast<size_t>(first));
    memcpy(dst + first, r.pu8Data, static_cast<size_t>(n - first));
    publish(r.iReadIdx, advance(r.iCapacity, read, n));
    add_data_size(r, -n);
    return n;
}

// One direction of the Str operations: how bytes move, what a miss logs and
// whether the way out signals the condition variable.
struct Inward {
    using Buffer = const uint8_t *;
    static int32_t move(Ring &r, Buffer data, int32_t len) { return put_bytes(r, data, len); }
    static void log_miss(const Ring &r) { log_full(r); }
    static void on_exit(Ring &r) { pthread_cond_signal(&r.stCond); }
};

struct Outward {
    using Buffer = uint8_t *;
    static int32_t move(Ring &r, Buffer data, int32_t len) { return take_bytes(r, data, len); }
    static void log_miss(const Ring &r) { log_empty(r); }
    static void on_exit(Ring &) {}
};

// The string moves in one go; a short move is the byte loop's first 0,
// which logs once and ends the string. A negative length moves nothing and
// comes back as the result.
template <typename Dir>
int32_t move_string(Ring &r, typename Dir::Buffer data, int32_t len) {
    MutexLock lock(r.stMutex);
    const int32_t moved = Dir::move(r, data, len);
    if (moved < len) Dir::log_miss(r);
    Dir::on_exit(r);
    return len < 0 ? len : moved;
}

// Retries a byte that finds no room (or no data) after a sleep, with one
// failure budget for the whole call; the sleep comes before the budget test,
// so a budget below 1 still means one attempt and one sleep.
template <typename Dir>
int32_t move_string_waiting(Ring &r, typename Dir::Buffer data, int32_t len, int32_t retry) {
    MutexLock lock(r.stMutex);
    int32_t moved = 0;
    int32_t failures = 0;
    while (moved < len) {
        const int32_t n = Dir::move(r, data + moved, len - moved);
        if (n > 0) {
            moved += n;
            continue;
        }
        Dir::log_miss(r);
        ++failures;
        usleep(kRetrySleepUs);
        if (failures >= retry) break;
    }
    Dir::on_exit(r);
    return len < 0 ? len : moved;
}

void copy_name(char (&dst)[kNameSize], const char *name) {
    size_t n = 0;
    while (n < kNameSize - 1 && name[n] != '\0') {
        dst[n] = name[n];
        ++n;
    }
    dst[n] = '\0';
}

}  // namespace
}  // namespace comm

using comm::Inward;
using comm::Outward;
using comm::ring_of;

extern "C" {

COMM_API void *RingBuffer_create(const char *pName, int32_t iCapacity) {
    const char *name = pName != nullptr ? pName : "";
    if (iCapacity < 1) {
        ZEV_COMM_ERR("%s:capacity[%d] below 1\n", name, iCapacity);
        return nullptr;
    }
    auto *r = static_cast<comm::Ring *>(malloc(sizeof(comm::Ring)));
    if (r == nullptr) {
        ZEV_COMM_ERR("%s:malloc fail\n", name);
        return nullptr;
    }
    r->pu8Data = static_cast<uint8_t *>(calloc(static_cast<size_t>(iCapacity), 1));
    if (r->pu8Data == nullptr) {
        ZEV_COMM_ERR("%s:malloc fail\n", name);
        free(r);
        return nullptr;
    }
    pthread_mutex_init(&r->stMutex, nullptr);
    pthread_cond_init(&r->stCond, nullptr);
    comm::copy_name(r->szName, name);
    r->iCapacity = iCapacity;
    r->iReadIdx = 0;
    r->iWriteIdx = 0;
    r->iDataSize = 0;
    return r;
}

COMM_API void RingBuffer_destroy(void *ringHdl) {
    if (ringHdl == nullptr) return;
    comm::Ring &r = ring_of(ringHdl);
    pthread_cond_signal(&r.stCond);
    pthread_mutex_destroy(&r.stMutex);
    pthread_cond_destroy(&r.stCond);
    free(r.pu8Data);
    free(&r);
}

COMM_API int32_t RingBuffer_isFull(void *ringHdl) {
    comm::Ring &r = ring_of(ringHdl);
    return comm::room(r.iCapacity, comm::load_peer(r.iReadIdx), comm::load_peer(r.iWriteIdx)) == 0 ? 1 : 0;
}

COMM_API int32_t RingBuffer_isEmpty(void *ringHdl) {
    comm::Ring &r = ring_of(ringHdl);
    return comm::load_peer(r.iReadIdx) == comm::load_peer(r.iWriteIdx) ? 1 : 0;
}

COMM_API int32_t RingBuffer_In(void *ringHdl, uint8_t u8Byte) {
    comm::Ring &r = ring_of(ringHdl);
    if (comm::put_bytes(r, &u8Byte, 1) == 1) return 1;
    comm::log_full(r);
    return 0;
}

COMM_API int32_t RingBuffer_Out(void *ringHdl, uint8_t *pu8Byte) {
    comm::Ring &r = ring_of(ringHdl);
    if (comm::take_bytes(r, pu8Byte, 1) == 1) return 1;
    comm::log_empty(r);
    return 0;
}

COMM_API int32_t RingBuffer_Clean(void *ringHdl) {
    comm::Ring &r = ring_of(ringHdl);
    comm::MutexLock lock(r.stMutex);
    comm::publish(r.iReadIdx, 0);
    comm::publish(r.iWriteIdx, 0);
    std::atomic_ref<int32_t>(r.iDataSize).store(0, std::memory_order_relaxed);
    return 1;
}

COMM_API int32_t RingBuffer_StrIn(void *ringHdl, const void *pData, int32_t iLen) {
    if (pData == nullptr || iLen == 0) return 0;
    return comm::move_string<Inward>(ring_of(ringHdl), static_cast<const uint8_t *>(pData), iLen);
}

COMM_API int32_t RingBuffer_StrOut(void *ringHdl, void *pData, int32_t iLen) {
    if (pData == nullptr || iLen == 0) return 0;
    return comm::move_string<Outward>(ring_of(ringHdl), static_cast<uint8_t *>(pData), iLen);
}

COMM_API int32_t RingBuffer_StrInWait(void *ringHdl, const void *pData, int32_t iLen, int32_t iRetry) {
    if (pData == nullptr || iLen == 0 || ring_of(ringHdl).pu8Data == nullptr) return 0;
    return comm::move_string_waiting<Inward>(ring_of(ringHdl), static_cast<const uint8_t *>(pData), iLen,
                                             iRetry);
}

COMM_API int32_t RingBuffer_StrOutWait(void *ringHdl, void *pData, int32_t iLen, int32_t iRetry) {
    if (pData == nullptr || iLen == 0 || ring_of(ringHdl).pu8Data == nullptr) return 0;
    return comm::move_string_waiting<Outward>(ring_of(ringHdl), static_cast<uint8_t *>(pData), iLen, iRetry);
}

COMM_API int32_t RingBuffer_GetDataSize(void *ringHdl) {
    return std::atomic_ref<int32_t>(ring_of(ringHdl).iDataSize).load(std::memory_order_relaxed);
}

}  // extern "C"
