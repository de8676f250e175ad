// The copy of a delivery into the caller's buffer, plain (shift 0) and shifted (shift 4 for
// 12-bit data in 2-byte pixels, shift 2 for 8-bit pixels), against memcpy of the same bytes.
// Every iteration times a memcpy and then the variant, each on its own pair of buffers, so the
// counter `vs_memcpy` (memcpy time / variant time over the same iterations) compares them
// under the same conditions; the row's bytes_per_second is the variant's.
//
// Hot: 256 KiB, the same buffers every time (they stay in the caches). Cold: 64 MiB copies, and
// full 1296 x 1032 x 2 frames, cycling over buffers of 1 GiB in all, far beyond the last-level
// cache, so every copy reads and writes memory that is not cached.
#include "stream/ImageCopy.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <vector>

namespace tq4::stream { void experimentStreamingBytes(std::size_t); }
#include <cstdlib>
static int exp_ = [] { if (const char* e = std::getenv("NTB")) tq4::stream::experimentStreamingBytes(std::strtoull(e, nullptr, 0)); if (const char* e = std::getenv("KERNEL")) tq4::stream::useCopyKernel(e); return 0; }();
namespace {

using tq4::stream::copyShifted;

enum Variant { Memcpy, Plain, Shifted };

constexpr std::size_t kHotBytes = std::size_t{256} << 10;
constexpr std::size_t kColdBytes = std::size_t{64} << 20;
constexpr std::size_t kFrameBytes = std::size_t{1296} * 1032 * 2;
constexpr std::size_t kColdPool = std::size_t{512} << 20;  // per side: sources, targets

// `count` source and target buffers of `bytes` bytes, 64-byte aligned, touched before timing.
struct Buffers {
    Buffers(std::size_t bytes, std::size_t count)
        : stride((bytes + 4095) / 4096 * 4096), count(count), sources(stride * count + 64),
          targets(stride * count + 64, 1) {
        for (std::size_t i = 0; i < sources.size(); ++i) sources[i] = static_cast<std::uint8_t>(i * 2654435761u >> 13);
    }
    const std::uint8_t* source(std::size_t k) const { return align(sources.data()) + k % count * stride; }
    std::uint8_t* target(std::size_t k) { return align(targets.data()) + k % count * stride; }

    static std::uint8_t* align(const std::uint8_t* p) {
        return const_cast<std::uint8_t*>(p) + (64 - reinterpret_cast<std::uintptr_t>(p) % 64) % 64;
    }
    std::size_t stride, count;
    std::vector<std::uint8_t> sources, targets;
};

// Copies per timed block: enough for a block of about 8 MiB, at least one.
std::size_t copiesPerBlock(std::size_t bytes) { return bytes >= (std::size_t{8} << 20) ? 1 : (std::size_t{8} << 20) / bytes; }

// state.range(0): variant; range(1): bytes per pixel; range(2): bytes per copy.
void BM_Copy(benchmark::State& state) {
    const auto variant = static_cast<Variant>(state.range(0));
    const auto bytesPerPixel = static_cast<unsigned>(state.range(1));
    const auto bytes = static_cast<std::size_t>(state.range(2));
    const unsigned shift = variant == Shifted ? (bytesPerPixel == 2 ? 4 : 2) : 0;
    const bool hot = bytes <= kHotBytes;
    const std::size_t block = copiesPerBlock(bytes);
    Buffers buffers(bytes, hot ? 1 : kColdPool / bytes);

    using Clock = std::chrono::steady_clock;
    std::size_t next = 0;
    auto run = [&](bool reference) {
        const auto start = Clock::now();
        for (std::size_t i = 0; i < block; ++i, ++next) {
            if (reference || variant == Memcpy) std::memcpy(buffers.target(next), buffers.source(next), bytes);
            else copyShifted(buffers.target(next), buffers.source(next), bytes, bytesPerPixel, shift);
            benchmark::ClobberMemory();
        }
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    double memcpySeconds = 0, variantSeconds = 0;
    bool memcpyFirst = true;
    for (auto _ : state) {
        double variantTime;
        if (memcpyFirst) {
            memcpySeconds += run(true);
            variantTime = run(false);
        } else {
            variantTime = run(false);
            memcpySeconds += run(true);
        }
        memcpyFirst = !memcpyFirst;
        variantSeconds += variantTime;
        state.SetIterationTime(variantTime);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * block * bytes));
    state.counters["vs_memcpy"] = variantSeconds > 0 ? memcpySeconds / variantSeconds : 0;
    state.SetLabel(std::string(hot ? "hot " : "cold ") + tq4::stream::copyKernelName());
}

void args(benchmark::internal::Benchmark* b) {
    b->ArgNames({"variant", "bpp", "bytes"});
    for (int64_t bytes : {kHotBytes, kColdBytes, kFrameBytes})
    {
        b->Args({Memcpy, 1, bytes});
        for (int64_t bpp : {1, 2})
            for (int64_t variant : {Plain, Shifted}) b->Args({variant, bpp, bytes});
    }
}

BENCHMARK(BM_Copy)->Apply(args)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
