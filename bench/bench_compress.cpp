// Compression of the payloads that travel in shared blocks: the platform's units against the
// codec alone, and against zstd level 1 and zlib level 1 on the same inputs. Each benchmark
// argument indexes the table of shapes; the label names the shape and "ratio" is
// original / compressed.
#include <benchmark/benchmark.h>
#include <lz4.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "payloads.h"
#include "zx_platform.h"

#ifdef ZX_HAVE_ZSTD
#include <zstd.h>
#endif
#ifdef ZX_HAVE_ZLIB
#include <zlib.h>
#endif

namespace {

using zxtest::Bytes;

using zxtest::address_list;
using zxtest::bundle_json;
using zxtest::bundle_table;

struct Shape {
    std::string label;
    Bytes data;
};

Shape labelled(const std::string& what, Bytes data) {
    return Shape{what + " " + std::to_string(data.size()) + " B", std::move(data)};
}

const std::vector<Shape>& shapes() {
    static const std::vector<Shape> all = {
        labelled("ipv4 list", address_list(3000)),
        labelled("ipv4 list", address_list(262144)),
        labelled("bundle table", bundle_table()),
        labelled("bundle list JSON", bundle_json()),
    };
    return all;
}

const Shape& shape_of(benchmark::State& state) {
    const Shape& s = shapes()[static_cast<size_t>(state.range(0))];
    state.SetLabel(s.label);
    return s;
}

// Reports throughput on the original size and the size the coder produced.
void finish(benchmark::State& state, const Shape& s, size_t compressed) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.data.size()));
    state.counters["compressed"] = static_cast<double>(compressed);
    state.counters["ratio"] = static_cast<double>(s.data.size()) / static_cast<double>(compressed);
}

Bytes zx_compress(const Bytes& src, uint32_t& len) {
    Bytes out(ZX_OS_COMPRESS_HEADER + LZ4_compressBound(static_cast<int>(src.size())));
    len = static_cast<uint32_t>(out.size());
    if (ZX_OS_Compress(src.data(), static_cast<uint32_t>(src.size()), out.data(), &len) != ZX_OK) len = 0;
    return out;
}

void BM_ZxCompress(benchmark::State& state) {
    const Shape& s = shape_of(state);
    uint32_t len = 0;
    Bytes out = zx_compress(s.data, len);
    for (auto _ : state) {
        len = static_cast<uint32_t>(out.size());
        if (ZX_OS_Compress(s.data.data(), static_cast<uint32_t>(s.data.size()), out.data(), &len) != ZX_OK)
            return state.SkipWithError("compression failed");
        benchmark::DoNotOptimize(out.data());
    }
    finish(state, s, len);
}

void BM_ZxDecompress(benchmark::State& state) {
    const Shape& s = shape_of(state);
    uint32_t len = 0;
    const Bytes unit = zx_compress(s.data, len);
    Bytes out(s.data.size());
    for (auto _ : state) {
        if (ZX_OS_Decompress(unit.data(), out.data(), static_cast<uint32_t>(out.size())) != ZX_OK)
            return state.SkipWithError("decompression failed");
        benchmark::DoNotOptimize(out.data());
    }
    if (out != s.data) return state.SkipWithError("round trip differs");
    finish(state, s, len);
}

void BM_Lz4Compress(benchmark::State& state) {
    const Shape& s = shape_of(state);
    Bytes out(LZ4_compressBound(static_cast<int>(s.data.size())));
    int len = 0;
    for (auto _ : state) {
        len = LZ4_compress_default(reinterpret_cast<const char*>(s.data.data()), reinterpret_cast<char*>(out.data()),
                                   static_cast<int>(s.data.size()), static_cast<int>(out.size()));
        if (len <= 0) return state.SkipWithError("compression failed");
        benchmark::DoNotOptimize(out.data());
    }
    finish(state, s, static_cast<size_t>(len));
}

void BM_Lz4Decompress(benchmark::State& state) {
    const Shape& s = shape_of(state);
    Bytes block(LZ4_compressBound(static_cast<int>(s.data.size())));
    const int len =
        LZ4_compress_default(reinterpret_cast<const char*>(s.data.data()), reinterpret_cast<char*>(block.data()),
                             static_cast<int>(s.data.size()), static_cast<int>(block.size()));
    Bytes out(s.data.size());
    for (auto _ : state) {
        if (LZ4_decompress_safe(reinterpret_cast<const char*>(block.data()), reinterpret_cast<char*>(out.data()), len,
                                static_cast<int>(out.size())) != static_cast<int>(out.size()))
            return state.SkipWithError("decompression failed");
        benchmark::DoNotOptimize(out.data());
    }
    finish(state, s, static_cast<size_t>(len));
}

#ifdef ZX_HAVE_ZSTD
void BM_Zstd1Compress(benchmark::State& state) {
    const Shape& s = shape_of(state);
    Bytes out(ZSTD_compressBound(s.data.size()));
    ZSTD_CCtx* ctx = ZSTD_createCCtx();  // reused, as a caller compressing often would
    size_t len = 0;
    for (auto _ : state) {
        len = ZSTD_compressCCtx(ctx, out.data(), out.size(), s.data.data(), s.data.size(), 1);
        if (ZSTD_isError(len)) break;
        benchmark::DoNotOptimize(out.data());
    }
    ZSTD_freeCCtx(ctx);
    if (ZSTD_isError(len)) return state.SkipWithError("compression failed");
    finish(state, s, len);
}

void BM_Zstd1Decompress(benchmark::State& state) {
    const Shape& s = shape_of(state);
    Bytes frame(ZSTD_compressBound(s.data.size()));
    const size_t len = ZSTD_compress(frame.data(), frame.size(), s.data.data(), s.data.size(), 1);
    ZSTD_DCtx* ctx = ZSTD_createDCtx();
    Bytes out(s.data.size());
    size_t n = 0;
    for (auto _ : state) {
        n = ZSTD_decompressDCtx(ctx, out.data(), out.size(), frame.data(), len);
        if (n != out.size()) break;
        benchmark::DoNotOptimize(out.data());
    }
    ZSTD_freeDCtx(ctx);
    if (n != out.size()) return state.SkipWithError("decompression failed");
    finish(state, s, len);
}
#endif

#ifdef ZX_HAVE_ZLIB
void BM_ZlibCompress(benchmark::State& state) {
    const Shape& s = shape_of(state);
    Bytes out(compressBound(s.data.size()));
    uLongf len = 0;
    for (auto _ : state) {
        len = out.size();
        if (compress2(out.data(), &len, s.data.data(), s.data.size(), 1) != Z_OK)
            return state.SkipWithError("compression failed");
        benchmark::DoNotOptimize(out.data());
    }
    finish(state, s, len);
}

void BM_ZlibDecompress(benchmark::State& state) {
    const Shape& s = shape_of(state);
    Bytes stream(compressBound(s.data.size()));
    uLongf len = stream.size();
    if (compress2(stream.data(), &len, s.data.data(), s.data.size(), 1) != Z_OK)
        return state.SkipWithError("compression failed");
    Bytes out(s.data.size());
    for (auto _ : state) {
        uLongf n = out.size();
        if (uncompress(out.data(), &n, stream.data(), len) != Z_OK || n != out.size())
            return state.SkipWithError("decompression failed");
        benchmark::DoNotOptimize(out.data());
    }
    finish(state, s, len);
}
#endif

BENCHMARK(BM_ZxCompress)->DenseRange(0, 3)->UseRealTime();
BENCHMARK(BM_ZxDecompress)->DenseRange(0, 3)->UseRealTime();
BENCHMARK(BM_Lz4Compress)->DenseRange(0, 3)->UseRealTime();
BENCHMARK(BM_Lz4Decompress)->DenseRange(0, 3)->UseRealTime();
#ifdef ZX_HAVE_ZSTD
BENCHMARK(BM_Zstd1Compress)->DenseRange(0, 3)->UseRealTime();
BENCHMARK(BM_Zstd1Decompress)->DenseRange(0, 3)->UseRealTime();
#endif
#ifdef ZX_HAVE_ZLIB
BENCHMARK(BM_ZlibCompress)->DenseRange(0, 3)->UseRealTime();
BENCHMARK(BM_ZlibDecompress)->DenseRange(0, 3)->UseRealTime();
#endif

}  // namespace

BENCHMARK_MAIN();
