// The time stamps the driver writes into the top of a delivered image: the binary stamp (14
// pixels of BCD bytes) and the readable stamp (text drawn from the glyph table of
// Glyphs.h), for 1- and 2-byte pixels. The readers turn a stamped image back into values;
// tests and tools use them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tq4::stream {

// How the delivered pixels hold their data: `bytesPerPixel` 1 or 2 (little-endian), the data
// in the low `significantBits` bits of each pixel (16 for MSB-aligned 2-byte data).
struct StampPixels {
    unsigned bytesPerPixel = 1;
    unsigned significantBits = 8;
};

// The moment of a frame in local time, and the frame's number.
struct StampMoment {
    uint64_t imageCounter = 0;
    int year = 1970, month = 1, day = 1, hour = 0, minute = 0, second = 0;
    uint32_t microseconds = 0;
};

// The moment of image `imageCounter` taken at `nanosecondsSince1970`, in local time.
StampMoment stampMomentAt(uint64_t imageCounter, uint64_t nanosecondsSince1970);

// The binary stamp: the first kBinaryStampPixels pixels of row 0, each holding one BCD byte
// (tens digit in the high nibble, units digit in the low nibble).
//   pixels  0-3   the image counter, 8 digits (modulo 10^8), most significant pair first
//   pixels  4-10  "%Y%m%d%H%M%S" as seven digit pairs (the year modulo 10000, the other
//                 fields modulo 100, negative values as 0)
//   pixels 11-13  the microseconds, 6 digits (modulo 10^6)
// A 1-byte pixel is the BCD byte itself. A 2-byte pixel holds the BCD byte in the top 8 of its
// significant bits, value = bcd << (significantBits - 8) (significantBits at most 16; shift 0
// below 8 bits), so the stamp reads the same as the image data and survives a viewer's
// scaling: 0x20 is 0x2000 in MSB-aligned data, 0x200 in 12-bit data in the low bits. Writes
// nothing beyond `imageBytes`: a shorter buffer gets the pixels that fit. Pixels of any other
// size than 1 or 2 bytes get nothing.
constexpr unsigned kBinaryStampPixels = 14;
void writeBinaryStamp(void* image, std::size_t imageBytes, StampPixels pixels, const StampMoment& moment);

// The readable stamp: kReadableCells characters in 8 x 16 cells (Glyphs.h) whose top row is
// kReadableFirstRow and whose left columns are kReadableFirstColumn + 8 * cell, so row 0 and
// with it the binary stamp stay untouched. The cells read, in order:
//   cells  0-6   the image counter "%07llu" (modulo 10^7)
//   cell   7     blank
//   cells  8-9   the day "%2d", right-aligned: a one-digit day leaves cell 8 blank
//   cells 10-13  the month: a blank and its English abbreviation (" Jan" ... " Dec"), four
//                blanks for a month outside 1-12
//   cells 14-27  "%Y %H:%M:%S." (the year modulo 10000, four digits)
//   cells 28-33  the microseconds "%06u" (modulo 10^6)
// e.g. "0000042  3 Nov2026 14:05:09.123456". Every pixel of every cell is written, ink at the
// maximum of the significant bits ((1 << significantBits) - 1 for 2-byte pixels, 255 for
// 1-byte pixels) and background 0; a cell reaching past the end of the row loses its columns
// there (only the glyphs' blank 8th column, at the minimum width). Rows are width pixels with
// no padding. Images smaller than kReadableMinWidth x kReadableMinHeight, a buffer shorter
// than the rows up to the last row of the cells, or pixels of any other size than 1 or 2
// bytes get nothing and false.
constexpr uint64_t kReadableMinWidth = 288;
constexpr uint64_t kReadableMinHeight = 80;
constexpr unsigned kReadableFirstRow = 1;
constexpr unsigned kReadableFirstColumn = 17;
constexpr unsigned kReadableCells = 34;
bool writeReadableStamp(void* image, std::size_t imageBytes, StampPixels pixels, uint64_t width, uint64_t height,
                        const StampMoment& moment);

// The values of a binary stamp; false when a byte is not valid BCD or the image is too short.
bool readBinaryStamp(const void* image, std::size_t imageBytes, StampPixels pixels, StampMoment& moment);
// The text in the readable stamp's cells (one character per cell, blanks included, '?' for a
// cell that matches no glyph exactly); empty when the image is too small for the stamp. A
// pixel is ink when it is at least half the ink value.
std::string readReadableStamp(const void* image, std::size_t imageBytes, StampPixels pixels, uint64_t width,
                              uint64_t height);

}  // namespace tq4::stream
