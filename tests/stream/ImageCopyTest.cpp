// copyShifted against a byte-by-byte model, with every kernel set this processor runs. The
// source of each case is a heap block of exactly the bytes to read (AddressSanitizer reports a
// read past it); the target sits between canary bytes that must survive.
#include "stream/ImageCopy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace {

using tq4::stream::copyShifted;

constexpr std::uint8_t kCanary = 0xa5;
constexpr std::size_t kGuard = 32;

// Writes the first `bytes` bytes of the image with every pixel shifted to `out`, one pixel at
// a time.
void model(std::uint8_t* out, const std::uint8_t* src, std::size_t bytes, unsigned bytesPerPixel, unsigned shift) {
    for (std::size_t i = 0; i < bytes; i += bytesPerPixel) {
        const bool high = bytesPerPixel == 2 && i + 1 < bytes;
        std::uint64_t v = src[i] | (high ? src[i + 1] << 8 : 0);
        v <<= shift;
        out[i] = static_cast<std::uint8_t>(v);
        if (high) out[i + 1] = static_cast<std::uint8_t>(v >> 8);
    }
}

// Copies `bytes` from a source at `srcOff` into a target at `dstOff`, with each shift given,
// and compares with the model. Returns false at the first difference (reported).
bool check(std::size_t bytes, std::size_t srcOff, std::size_t dstOff, unsigned bytesPerPixel,
           const std::vector<unsigned>& shifts) {
    std::vector<std::uint8_t> source(srcOff + bytes);
    std::uint32_t x = static_cast<std::uint32_t>(bytes * 2654435761u + srcOff);
    for (auto& b : source) b = static_cast<std::uint8_t>((x = x * 1103515245u + 12345u) >> 16);
    const std::uint8_t* image = source.data() + srcOff;
    const std::size_t at = kGuard + dstOff;
    for (unsigned shift : shifts) {
        std::vector<std::uint8_t> target(at + bytes + kGuard, kCanary), expected(target.size(), kCanary);
        copyShifted(target.data() + at, image, bytes, bytesPerPixel, shift);
        model(expected.data() + at, image, bytes, bytesPerPixel, shift);
        if (target != expected) {
            const auto diff = std::mismatch(target.begin(), target.end(), expected.begin()).first - target.begin();
            ADD_FAILURE() << "kernel " << tq4::stream::copyKernelName() << ", " << bytes << " bytes, " << bytesPerPixel
                          << "-byte pixels, shift " << shift << ", source +" << srcOff << ", target +" << dstOff
                          << ": first difference at target byte " << diff - static_cast<std::ptrdiff_t>(at);
            return false;
        }
    }
    return true;
}

std::vector<unsigned> shiftsUpTo(unsigned last) {
    std::vector<unsigned> shifts;
    for (unsigned s = 0; s <= last; ++s) shifts.push_back(s);
    return shifts;
}

// Runs `body` once with each kernel set this processor runs, then restores the one in use.
void forEachKernel(const std::function<void()>& body) {
    const std::string inUse = tq4::stream::copyKernelName();
    for (const char* name : {"portable", "sse2", "avx2"}) {
        if (!tq4::stream::useCopyKernel(name)) continue;
        SCOPED_TRACE(name);
        body();
    }
    EXPECT_TRUE(tq4::stream::useCopyKernel(inUse.c_str()));
}

TEST(ImageCopy, EverySizeShiftAndAlignmentMatchesTheModel) {
    forEachKernel([] {
        for (std::size_t bytes = 0; bytes <= 200; ++bytes)
            for (std::size_t dstOff = 0; dstOff < 32; ++dstOff)
                for (std::size_t srcOff : {dstOff, (dstOff * 7 + bytes) % 32}) {
                    // Shifts beyond the pixel write zeros.
                    if (!check(bytes, srcOff, dstOff, 1, shiftsUpTo(9))) return;
                    if (!check(bytes, srcOff, dstOff, 2, shiftsUpTo(17))) return;
                }
    });
}

TEST(ImageCopy, LargeImagesMatchTheModel) {
    // Up to a size beyond which the vector kernels write around the caches.
    forEachKernel([] {
        for (std::size_t bytes : {std::size_t{4097}, std::size_t{65536 + 30}, std::size_t{1296 * 1032 * 2}}) {
            check(bytes, 3, 0, 1, {2, 7});
            check(bytes, 0, 5, 2, {4, 12});
            check(bytes, 1, 8, 2, {1});
        }
        check((std::size_t{16} << 20) + 1, 3, 16, 2, {4});
        check((std::size_t{16} << 20) + 62, 0, 7, 1, {3});
    });
}

TEST(ImageCopy, OtherPixelSizesCopyUnshifted) {
    std::vector<std::uint8_t> source(77);
    for (std::size_t i = 0; i < source.size(); ++i) source[i] = static_cast<std::uint8_t>(i * 37 + 1);
    for (unsigned bytesPerPixel : {0u, 3u, 4u}) {
        std::vector<std::uint8_t> target(77);
        copyShifted(target.data(), source.data(), source.size(), bytesPerPixel, 4);
        EXPECT_EQ(target, source) << bytesPerPixel;
    }
}

TEST(ImageCopy, KernelSelection) {
    const std::string inUse = tq4::stream::copyKernelName();
    EXPECT_TRUE(inUse == "avx2" || inUse == "sse2" || inUse == "portable") << inUse;
    EXPECT_FALSE(tq4::stream::useCopyKernel("avx512"));
    EXPECT_FALSE(tq4::stream::useCopyKernel(nullptr));
    EXPECT_EQ(tq4::stream::copyKernelName(), inUse);
#if defined(__x86_64__)
    EXPECT_NE(inUse, "portable");
#endif
}

}  // namespace
