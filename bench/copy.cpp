// The copy of a delivery into the caller's buffer, plain (shift 0) and shifted (shift 4: 12-bit
// data in 2-byte pixels; shift 2: 6-bit data in 1-byte pixels), against memcpy of the same bytes.
//
// Each iteration times a block of memcpy calls and a block of calls of the variant (about
// 8 MiB each, at least one call), in alternating order, on buffers of the same kind. The row's
// time and bytes_per_second are the variant's; the counter `vs_memcpy` is memcpy time / variant
// time summed over the same iterations, so load from elsewhere on the machine hits both alike.
//
// hot: 256 KiB, the same source and target every time (they stay in the caches).
// cold: 64 MiB copies, and full 1296 x 1032 x 2 frames, cycling over 512 MiB of sources and
// 512 MiB of targets, far beyond the last-level cache: every copy reads and writes memory.
// warm: full frames cycling over two sources and two targets (10.7 MB), which stay in a
// last-level cache of 16 MiB or more.
//
// TQ4_COPY_KERNEL=sse2 (or portable) runs the copies with that kernel set instead of the one
// chosen for this processor.
#include "stream/ImageCopy.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using tq4::stream::copyShifted;

constexpr std::size_t kColdPool = std::size_t{512} << 20;  // each of sources and targets
constexpr std::size_t kBlockBytes = std::size_t{8} << 20;

// `count` sources and targets of `bytes` bytes each, 64-byte aligned, written before timing.
class Buffers {
public:
    Buffers(std::size_t bytes, std::size_t count)
        : stride_((bytes + 4095) / 4096 * 4096),
          count_(count),
          sources_(stride_ * count + 64),
          targets_(stride_ * count + 64, 1) {
        for (std::size_t i = 0; i < sources_.size(); ++i)
            sources_[i] = static_cast<std::uint8_t>(i * 2654435761u >> 13);
    }
    const std::uint8_t* source(std::size_t k) const { return aligned(sources_.data()) + k % count_ * stride_; }
    std::uint8_t* target(std::size_t k) { return aligned(targets_.data()) + k % count_ * stride_; }

private:
    static std::uint8_t* aligned(const std::uint8_t* p) {
        return const_cast<std::uint8_t*>(p) + (64 - reinterpret_cast<std::uintptr_t>(p) % 64) % 64;
    }
    std::size_t stride_, count_;
    std::vector<std::uint8_t> sources_, targets_;
};

// `count` buffers of each kind (0: as many as fill the cold pool). bytesPerPixel 0: the variant
// is memcpy itself (the row shows what the pairing alone does).
void copyBench(benchmark::State& state, std::size_t bytes, std::size_t count, unsigned bytesPerPixel, unsigned shift) {
    Buffers buffers(bytes, count != 0 ? count : kColdPool / bytes);
    const std::size_t block = bytes >= kBlockBytes ? 1 : kBlockBytes / bytes;
    std::size_t next = 0;
    auto run = [&](bool reference) {
        const auto start = std::chrono::steady_clock::now();
        for (std::size_t i = 0; i < block; ++i, ++next) {
            if (reference || bytesPerPixel == 0)
                std::memcpy(buffers.target(next), buffers.source(next), bytes);
            else
                copyShifted(buffers.target(next), buffers.source(next), bytes, bytesPerPixel, shift);
            benchmark::ClobberMemory();
        }
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    double memcpySeconds = 0, variantSeconds = 0;
    bool memcpyFirst = true;
    for (auto _ : state) {
        double variant;
        if (memcpyFirst) {
            memcpySeconds += run(true);
            variant = run(false);
        } else {
            variant = run(false);
            memcpySeconds += run(true);
        }
        memcpyFirst = !memcpyFirst;
        variantSeconds += variant;
        state.SetIterationTime(variant);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * block * bytes));
    state.counters["vs_memcpy"] = variantSeconds > 0 ? memcpySeconds / variantSeconds : 0;
    state.SetLabel(tq4::stream::copyKernelName());
}

const bool registered = [] {
    if (const char* kernel = std::getenv("TQ4_COPY_KERNEL")) tq4::stream::useCopyKernel(kernel);
    struct Size {
        const char* name;
        std::size_t bytes, count;
    };
    struct Variant {
        const char* name;
        unsigned bytesPerPixel, shift;
    };
    constexpr std::size_t frame = std::size_t{1296} * 1032 * 2;
    for (const Size& size :
         {Size{"hot_256KiB", std::size_t{256} << 10, 1}, Size{"cold_64MiB", std::size_t{64} << 20, 0},
          Size{"cold_frame", frame, 0}, Size{"warm_frame", frame, 2}}) {
        for (const Variant& v : {Variant{"memcpy", 0, 0}, Variant{"8bit_plain", 1, 0}, Variant{"8bit_shift2", 1, 2},
                                 Variant{"16bit_plain", 2, 0}, Variant{"16bit_shift4", 2, 4}}) {
            benchmark::RegisterBenchmark((std::string("copy_") + size.name + "/" + v.name).c_str(), copyBench,
                                         size.bytes, size.count, v.bytesPerPixel, v.shift)
                ->UseManualTime()
                ->Unit(benchmark::kMicrosecond);
        }
    }
    return true;
}();

}  // namespace
