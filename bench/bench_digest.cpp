// SPDX-License-Identifier: MIT
// Digest throughput: the library's two MD5 forms against OpenSSL's MD5 on
// 1 MiB, and the sliced CRC-8 against a plain byte-at-a-time table loop on
// 64 KiB. Compare bytes_per_second within one run.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "bench_input.hpp"
#include "comm_digest.h"

namespace {

constexpr size_t kMd5Size = 1 << 20;
constexpr size_t kCrcSize = 64 << 10;

void BM_dir_md5_digest(benchmark::State &state) {
    const auto data = bench_input(kMd5Size);
    unsigned char digest[16];
    for (auto _ : state) {
        dir_md5_digest(digest, data.data(), static_cast<uint32_t>(data.size()));
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}

void BM_MD5Update(benchmark::State &state) {
    const auto data = bench_input(kMd5Size);
    unsigned char digest[16];
    for (auto _ : state) {
        MD5Context ctx;
        MD5Init(&ctx);
        MD5Update(&ctx, data.data(), static_cast<uint32_t>(data.size()));
        MD5Final(digest, &ctx);
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}

void BM_OpenSSL_MD5(benchmark::State &state) {
    const auto data = bench_input(kMd5Size);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int len = 0;
    EVP_MD_CTX *ctx = EVP_MD_CTX_new();
    const EVP_MD *md = EVP_md5();
    for (auto _ : state) {
        EVP_DigestInit_ex(ctx, md, nullptr);
        EVP_DigestUpdate(ctx, data.data(), data.size());
        EVP_DigestFinal_ex(ctx, digest, &len);
        benchmark::DoNotOptimize(digest);
    }
    EVP_MD_CTX_free(ctx);
    // Same digest, or the comparison means nothing.
    unsigned char ours[16];
    dir_md5_digest(ours, data.data(), static_cast<uint32_t>(data.size()));
    if (len != 16 || memcmp(ours, digest, 16) != 0) state.SkipWithError("digests differ");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}

void BM_Zev_Comm_CheckCrc8(benchmark::State &state) {
    const auto data = bench_input(kCrcSize);
    uint32_t crc = 0;
    for (auto _ : state) {
        crc = Zev_Comm_CheckCrc8(data.data(), static_cast<uint32_t>(data.size()), 0);
        benchmark::DoNotOptimize(crc);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}

// The plain form: one table, one look-up per byte.
struct ByteTable {
    unsigned char t[256];
    ByteTable() {
        for (unsigned i = 0; i < 256; ++i) {
            unsigned v = i;
            for (int b = 0; b < 8; ++b) v = (v & 1) ? (v >> 1) ^ 0xAB : v >> 1;
            t[i] = static_cast<unsigned char>(v);
        }
    }
};

void BM_Crc8ByteLoop(benchmark::State &state) {
    const auto data = bench_input(kCrcSize);
    static const ByteTable table;
    uint32_t crc = 0;
    for (auto _ : state) {
        unsigned c = 0;
        for (unsigned char byte : data) c = table.t[c ^ byte];
        crc = c;
        benchmark::DoNotOptimize(crc);
    }
    if (crc != Zev_Comm_CheckCrc8(data.data(), static_cast<uint32_t>(data.size()), 0))
        state.SkipWithError("CRCs differ");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}

}  // namespace

BENCHMARK(BM_dir_md5_digest);
BENCHMARK(BM_MD5Update);
BENCHMARK(BM_OpenSSL_MD5);
BENCHMARK(BM_Zev_Comm_CheckCrc8);
BENCHMARK(BM_Crc8ByteLoop);
BENCHMARK_MAIN();
