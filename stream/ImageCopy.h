// The one pass that moves an image from the producer's buffer into the caller's: a plain copy,
// or a copy that shifts every pixel left in the same pass (MSB alignment of data that sits in
// the low bits). Runs at memory speed; the widest vector unit the processor offers is chosen
// once, at first use.
#pragma once

#include <cstddef>

namespace tq4::stream {

// Writes the first `bytes` bytes of the source image into `target`, each pixel of
// `bytesPerPixel` bytes (1 or 2, little-endian) shifted left by `shift` bits (0: plain copy;
// bits shifted out of a pixel are lost, so a shift of 8 (1-byte) or 16 (2-byte) or more writes
// zeros). With 2-byte pixels and an odd `bytes`, the last byte is the low byte of the shifted
// pixel it starts. Any other pixel size copies the bytes unshifted. Reads and writes exactly
// `bytes` bytes of each buffer; neither needs any alignment. The buffers must not overlap.
void copyShifted(void* target, const void* source, std::size_t bytes, unsigned bytesPerPixel, unsigned shift);

// Name of the kernel set in use ("avx2", "sse2" or "portable"), for logs and benchmarks.
const char* copyKernelName();

// Makes every later copy use the kernel set `name` ("avx2", "sse2" or "portable") if this
// processor runs it, and returns true; otherwise returns false and changes nothing. Tests and
// benchmarks compare the kernel sets with it; the driver keeps the set chosen at first use.
bool useCopyKernel(const char* name);

}  // namespace tq4::stream
