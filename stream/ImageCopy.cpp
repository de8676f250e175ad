#include "stream/ImageCopy.h"

#include <atomic>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define TQ4_COPY_X86 1
#endif

namespace tq4::stream {
namespace {

// From this many bytes on, the vector kernels write the target with non-temporal stores: a
// copy this large leaves the caches anyway, and writing around them saves reading each target
// line from memory before it is overwritten. Whole frames stay below it: while source and
// target fit the last-level cache, ordinary stores are faster and leave the image there for the
// consumer.
constexpr std::size_t kStreamingBytes = std::size_t{16} << 20;

// A kernel shifts `n` bytes of pixels left by `shift` bits, 0 < shift < bits per pixel; for
// 2-byte pixels `n` is even.
using Kernel = void (*)(std::uint8_t* __restrict dst, const std::uint8_t* __restrict src, std::size_t n,
                        unsigned shift);

struct KernelSet {
    const char* name;
    Kernel shift8;
    Kernel shift16;
};

// Eight bytes at a time in a 64-bit word; `keep` holds, in every pixel, the bits that stay in
// it (the same in either byte order), then byte by byte.
void shift8Portable(std::uint8_t* __restrict dst, const std::uint8_t* __restrict src, std::size_t n, unsigned shift) {
    const std::uint64_t keep = 0x0101010101010101u * (0xffu << shift & 0xffu);
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, src + i, 8);
        word = word << shift & keep;
        std::memcpy(dst + i, &word, 8);
    }
    for (; i < n; ++i) dst[i] = static_cast<std::uint8_t>(src[i] << shift);
}

// On a little-endian host four pixels at a time in a 64-bit word, then (and on any other host
// throughout) pixel by pixel from its two bytes.
void shift16Portable(std::uint8_t* __restrict dst, const std::uint8_t* __restrict src, std::size_t n, unsigned shift) {
    std::size_t i = 0;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    const std::uint64_t keep = 0x0001000100010001u * (0xffffu << shift & 0xffffu);
    for (; i + 8 <= n; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, src + i, 8);
        word = word << shift & keep;
        std::memcpy(dst + i, &word, 8);
    }
#endif
    for (; i + 1 < n; i += 2) {
        const unsigned v = (static_cast<unsigned>(src[i]) | static_cast<unsigned>(src[i + 1]) << 8) << shift;
        dst[i] = static_cast<std::uint8_t>(v);
        dst[i + 1] = static_cast<std::uint8_t>(v >> 8);
    }
}

constexpr KernelSet kPortable{"portable", shift8Portable, shift16Portable};

#ifdef TQ4_COPY_X86

// How the vector loops write the target: aligned, aligned non-temporal, or unaligned. 2-byte
// pixels at an odd target address take unaligned stores throughout (an aligned vector would
// start in the middle of a pixel).
enum class Store { Aligned, Streaming, Unaligned };

// Both vector widths shift 16-bit lanes; 1-byte pixels then drop the bits that crossed into
// the next byte with `mask` (0xff << shift in every byte).

__attribute__((target("sse2"))) inline __m128i shifted(__m128i v, __m128i count, __m128i mask, unsigned unit) {
    v = _mm_sll_epi16(v, count);
    return unit == 1 ? _mm_and_si128(v, mask) : v;
}

template <Store S>
__attribute__((target("sse2"))) inline void put(std::uint8_t* p, __m128i v) {
    if constexpr (S == Store::Aligned)
        _mm_store_si128(reinterpret_cast<__m128i*>(p), v);
    else if constexpr (S == Store::Streaming)
        _mm_stream_si128(reinterpret_cast<__m128i*>(p), v);
    else
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

__attribute__((target("sse2"))) inline __m128i get(const std::uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// Shifts bytes [i, end) in 16-byte steps while a whole vector fits; returns where it stopped.
template <unsigned Unit, Store S>
__attribute__((target("sse2"))) std::size_t loopSse2(std::uint8_t* dst, const std::uint8_t* src, std::size_t i,
                                                     std::size_t end, __m128i count, __m128i mask) {
    for (; i + 64 <= end; i += 64) {
        const __m128i a = get(src + i), b = get(src + i + 16), c = get(src + i + 32), d = get(src + i + 48);
        put<S>(dst + i, shifted(a, count, mask, Unit));
        put<S>(dst + i + 16, shifted(b, count, mask, Unit));
        put<S>(dst + i + 32, shifted(c, count, mask, Unit));
        put<S>(dst + i + 48, shifted(d, count, mask, Unit));
    }
    for (; i + 16 <= end; i += 16) put<S>(dst + i, shifted(get(src + i), count, mask, Unit));
    return i;
}

// The first and the last vector are unaligned and may overlap the aligned ones: every byte is
// computed from the source, so writing it twice writes the same value.
template <unsigned Unit>
__attribute__((target("sse2"))) void shiftSse2(std::uint8_t* __restrict dst, const std::uint8_t* __restrict src,
                                               std::size_t n, unsigned shift) {
    if (n < 16) {
        (Unit == 1 ? shift8Portable : shift16Portable)(dst, src, n, shift);
        return;
    }
    const __m128i count = _mm_cvtsi32_si128(static_cast<int>(shift));
    const __m128i mask = _mm_set1_epi8(static_cast<char>(0xff << shift));
    std::size_t i;
    if (Unit == 2 && (reinterpret_cast<std::uintptr_t>(dst) & 1) != 0) {
        i = loopSse2<Unit, Store::Unaligned>(dst, src, 0, n, count, mask);
    } else {
        put<Store::Unaligned>(dst, shifted(get(src), count, mask, Unit));
        i = 16 - (reinterpret_cast<std::uintptr_t>(dst) & 15);
        if (n >= kStreamingBytes) {
            i = loopSse2<Unit, Store::Streaming>(dst, src, i, n, count, mask);
            _mm_sfence();
        } else {
            i = loopSse2<Unit, Store::Aligned>(dst, src, i, n, count, mask);
        }
    }
    if (i < n) put<Store::Unaligned>(dst + n - 16, shifted(get(src + n - 16), count, mask, Unit));
}

__attribute__((target("avx2"))) inline __m256i shifted(__m256i v, __m128i count, __m256i mask, unsigned unit) {
    v = _mm256_sll_epi16(v, count);
    return unit == 1 ? _mm256_and_si256(v, mask) : v;
}

template <Store S>
__attribute__((target("avx2"))) inline void put(std::uint8_t* p, __m256i v) {
    if constexpr (S == Store::Aligned)
        _mm256_store_si256(reinterpret_cast<__m256i*>(p), v);
    else if constexpr (S == Store::Streaming)
        _mm256_stream_si256(reinterpret_cast<__m256i*>(p), v);
    else
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

__attribute__((target("avx2"))) inline __m256i get256(const std::uint8_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

template <unsigned Unit, Store S>
__attribute__((target("avx2"))) std::size_t loopAvx2(std::uint8_t* dst, const std::uint8_t* src, std::size_t i,
                                                     std::size_t end, __m128i count, __m256i mask) {
    for (; i + 128 <= end; i += 128) {
        const __m256i a = get256(src + i), b = get256(src + i + 32), c = get256(src + i + 64), d = get256(src + i + 96);
        put<S>(dst + i, shifted(a, count, mask, Unit));
        put<S>(dst + i + 32, shifted(b, count, mask, Unit));
        put<S>(dst + i + 64, shifted(c, count, mask, Unit));
        put<S>(dst + i + 96, shifted(d, count, mask, Unit));
    }
    for (; i + 32 <= end; i += 32) put<S>(dst + i, shifted(get256(src + i), count, mask, Unit));
    return i;
}

template <unsigned Unit>
__attribute__((target("avx2"))) void shiftAvx2(std::uint8_t* __restrict dst, const std::uint8_t* __restrict src,
                                               std::size_t n, unsigned shift) {
    if (n < 32) {
        shiftSse2<Unit>(dst, src, n, shift);
        return;
    }
    const __m128i count = _mm_cvtsi32_si128(static_cast<int>(shift));
    const __m256i mask = _mm256_set1_epi8(static_cast<char>(0xff << shift));
    std::size_t i;
    if (Unit == 2 && (reinterpret_cast<std::uintptr_t>(dst) & 1) != 0) {
        i = loopAvx2<Unit, Store::Unaligned>(dst, src, 0, n, count, mask);
    } else {
        put<Store::Unaligned>(dst, shifted(get256(src), count, mask, Unit));
        i = 32 - (reinterpret_cast<std::uintptr_t>(dst) & 31);
        if (n >= kStreamingBytes) {
            i = loopAvx2<Unit, Store::Streaming>(dst, src, i, n, count, mask);
            _mm_sfence();
        } else {
            i = loopAvx2<Unit, Store::Aligned>(dst, src, i, n, count, mask);
        }
    }
    if (i < n) put<Store::Unaligned>(dst + n - 32, shifted(get256(src + n - 32), count, mask, Unit));
}

constexpr KernelSet kSse2{"sse2", shiftSse2<1>, shiftSse2<2>};
constexpr KernelSet kAvx2{"avx2", shiftAvx2<1>, shiftAvx2<2>};

// Best first.
constexpr const KernelSet* kAll[] = {&kAvx2, &kSse2, &kPortable};

bool runs(const KernelSet* set) {
    __builtin_cpu_init();
    if (set == &kAvx2) return __builtin_cpu_supports("avx2");
    if (set == &kSse2) return __builtin_cpu_supports("sse2");
    return true;
}

#else

constexpr const KernelSet* kAll[] = {&kPortable};

bool runs(const KernelSet*) { return true; }

#endif

std::atomic<const KernelSet*> gKernels{nullptr};

const KernelSet& kernels() {
    const KernelSet* set = gKernels.load(std::memory_order_acquire);
    if (set != nullptr) return *set;
    for (const KernelSet* candidate : kAll) {
        if (runs(candidate)) {
            set = candidate;
            break;
        }
    }
    const KernelSet* expected = nullptr;
    if (!gKernels.compare_exchange_strong(expected, set, std::memory_order_acq_rel)) set = expected;
    return *set;
}

}  // namespace

void copyShifted(void* target, const void* source, std::size_t bytes, unsigned bytesPerPixel, unsigned shift) {
    if (bytes == 0) return;
    if (shift == 0 || (bytesPerPixel != 1 && bytesPerPixel != 2)) {
        std::memcpy(target, source, bytes);
        return;
    }
    auto* dst = static_cast<std::uint8_t*>(target);
    const auto* src = static_cast<const std::uint8_t*>(source);
    if (shift >= 8 * bytesPerPixel) {
        std::memset(dst, 0, bytes);
        return;
    }
    const KernelSet& set = kernels();
    if (bytesPerPixel == 1) {
        set.shift8(dst, src, bytes, shift);
        return;
    }
    const std::size_t even = bytes & ~std::size_t{1};
    set.shift16(dst, src, even, shift);
    // A lone last byte is the low byte of its pixel, which depends on that byte alone.
    if (even != bytes) dst[even] = static_cast<std::uint8_t>(src[even] << shift);
}

const char* copyKernelName() { return kernels().name; }

bool useCopyKernel(const char* name) {
    for (const KernelSet* set : kAll) {
        if (name != nullptr && std::strcmp(set->name, name) == 0 && runs(set)) {
            gKernels.store(set, std::memory_order_release);
            return true;
        }
    }
    return false;
}

}  // namespace tq4::stream
