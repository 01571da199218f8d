// SPDX-License-Identifier: MIT
// The loop around minimp3: map the file, feed it frame by frame, copy the
// PCM to the caller's buffer, stop at the right moment, clean up.
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstring>

#include "comm_log.h"
#include "comm_mp3.h"
#include "frame/handles.hpp"
#include "media/decode_stack.hpp"
#include "minimp3.h"

namespace comm {
namespace {

// All state of one decoding; it lives on the caller's stack. The file's
// descriptor and mapping belong to their owners in Zev_Mp3Decode.
struct Mp3DecodeState {
    mp3dec_t stDecoder;
    const uint8_t *pCur;
    int32_t iRemain;
    int32_t iSamples;
    int32_t iChannels;
    int32_t iHz;
    mp3d_sample_t as16Pcm[MINIMP3_MAX_SAMPLES_PER_FRAME];
};

constexpr int64_t kMaxFileSize = INT32_MAX;

// Opens and maps the whole file. An invalid mapping (and fd closed) when it
// cannot be opened, stat'ed or mapped, is empty, or is too large for the
// 32-bit size.
Mapping map_file(const char *path, UniqueFd &fd) {
    fd.reset(open(path, O_RDONLY));
    if (!fd) return Mapping();
    struct stat st {};
    if (fstat(fd.get(), &st) != 0 || st.st_size <= 0 || st.st_size > kMaxFileSize) {
        fd.reset();
        return Mapping();
    }
    const size_t size = static_cast<size_t>(st.st_size);
    void *addr = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd.get(), 0);
    if (addr == MAP_FAILED || addr == nullptr) {
        fd.reset();
        return Mapping();
    }
    return Mapping(addr, size);
}

// The layer of the frame the decoder takes next, as the decoder itself finds
// it: given no PCM buffer it reads the header and returns before decoding,
// leaving its state as the real call would find it. 0 when no frame is found.
int next_layer(Mp3DecodeState &st) {
    mp3dec_frame_info_t info;
    memset(&info, 0, sizeof info);
    (void)mp3dec_decode_frame(&st.stDecoder, st.pCur, st.iRemain, nullptr, &info);
    return info.layer;
}

// Where the next frame is decoded: straight into the caller's buffer when it
// is a Layer III frame, a whole frame of the largest size fits behind the
// total there and the place suits 16-bit samples; otherwise into the
// record's frame buffer, from which only what fits is copied. Layer III
// frames write PCM only when they yield samples, so nothing lands behind
// the result; layers I and II may write a granule before they fail.
mp3d_sample_t *frame_target(Mp3DecodeState &st, uint8_t *out, int32_t total, int32_t capacity) {
    constexpr int32_t kMaxFrameBytes = MINIMP3_MAX_SAMPLES_PER_FRAME * sizeof(mp3d_sample_t);
    uint8_t *at = out + total;
    const bool aligned = reinterpret_cast<uintptr_t>(at) % alignof(mp3d_sample_t) == 0;
    if (aligned && capacity - total >= kMaxFrameBytes && next_layer(st) == 3)
        return reinterpret_cast<mp3d_sample_t *>(at);
    return st.as16Pcm;
}

// Decodes frames into out until the file, a frame or the capacity ends.
// Returns the bytes written.
int32_t decode_frames(Mp3DecodeState &st, uint8_t *out, int32_t capacity) {
    int32_t total = 0;
    for (bool first = true;; first = false) {
        mp3dec_frame_info_t info;
        memset(&info, 0, sizeof info);
        mp3d_sample_t *pcm = frame_target(st, out, total, capacity);
        st.iSamples = mp3dec_decode_frame(&st.stDecoder, st.pCur, st.iRemain, pcm, &info);
        st.iChannels = info.channels;
        st.iHz = info.hz;
        const int32_t consumed = info.frame_bytes < st.iRemain ? info.frame_bytes : st.iRemain;
        st.pCur += consumed;
        st.iRemain -= consumed;
        if (first) ZEV_COMM_LOG_AS(DBG, "Zev_Mp3Decode", "samprate:%d, channels:%d\n", st.iHz, st.iChannels);
        if (st.iSamples <= 0) break;
        const int32_t channels = st.iChannels > 1 ? 2 : 1;
        const int32_t bytes = st.iSamples * channels * static_cast<int32_t>(sizeof(mp3d_sample_t));
        const int32_t room = capacity - total;
        if (bytes > room) {  // never in place: a whole frame fitted there
            memcpy(out + total, st.as16Pcm, static_cast<size_t>(room));
            total += room;
            break;
        }
        if (pcm == st.as16Pcm) memcpy(out + total, st.as16Pcm, static_cast<size_t>(bytes));
        total += bytes;
        if (st.iRemain == 0) break;
    }
    return total;
}

}  // namespace
}  // namespace comm

extern "C" {

// The decoding itself. Its frame holds the record, so it is entered only
// once the thread is known to have room for it.
__attribute__((noinline)) static int32_t decode_file(const char *path, void *pOut, int32_t iCapacity) {
    comm::UniqueFd fd;
    const comm::Mapping map = comm::map_file(path, fd);  // after fd: unmapped before the close
    if (!map.valid()) {
        ZEV_COMM_LOG_AS(WAR, "Zev_Mp3Decode", "mp3decoder_init error!\n");
        return 0;
    }
    comm::Mp3DecodeState st;
    st.pCur = map.data();
    st.iRemain = static_cast<int32_t>(map.size());
    st.iSamples = st.iChannels = st.iHz = 0;
    mp3dec_init(&st.stDecoder);
    return comm::decode_frames(st, static_cast<uint8_t *>(pOut), iCapacity);
}

COMM_API int32_t Zev_Mp3Decode(const char *path, void *pOut, int32_t iCapacity) {
    if (path == nullptr || pOut == nullptr || iCapacity <= 0) return 0;
    if (!comm::decode_stack_room_ok(comm::kDecodeStackNeed, "Zev_Mp3Decode"))
        return 0;  // refused, not overrun
    return decode_file(path, pOut, iCapacity);
}

}  // extern "C"
