#include "stream/Timestamp.h"

#include <array>
#include <cstdio>

#include "platform/Platform.h"
#include "stream/Glyphs.h"

namespace tq4::stream {
namespace {

constexpr unsigned kReadableRows = kReadableFirstRow + kGlyphHeight;  // rows 0 .. last cell row

bool knownPixelSize(StampPixels pixels) { return pixels.bytesPerPixel == 1 || pixels.bytesPerPixel == 2; }

// The bits that carry data: 8 for 1-byte pixels, 1 to 16 for 2-byte pixels.
unsigned dataBits(StampPixels pixels) {
    if (pixels.bytesPerPixel == 1) return 8;
    if (pixels.significantBits < 1) return 1;
    return pixels.significantBits > 16 ? 16 : pixels.significantBits;
}

unsigned bcdShift(StampPixels pixels) { return dataBits(pixels) > 8 ? dataBits(pixels) - 8 : 0; }
uint32_t inkValue(StampPixels pixels) { return (1u << dataBits(pixels)) - 1; }

void putPixel(uint8_t* image, std::size_t index, unsigned bytesPerPixel, uint32_t value) {
    if (bytesPerPixel == 1) {
        image[index] = static_cast<uint8_t>(value);
    } else {
        image[2 * index] = static_cast<uint8_t>(value);
        image[2 * index + 1] = static_cast<uint8_t>(value >> 8);
    }
}

uint32_t getPixel(const uint8_t* image, std::size_t index, unsigned bytesPerPixel) {
    if (bytesPerPixel == 1) return image[index];
    return image[2 * index] | static_cast<uint32_t>(image[2 * index + 1]) << 8;
}

unsigned twoDigits(int value) { return value < 0 ? 0 : static_cast<unsigned>(value % 100); }
unsigned fourDigits(int value) { return value < 0 ? 0 : static_cast<unsigned>(value % 10000); }
uint8_t bcd(unsigned twoDigitValue) { return static_cast<uint8_t>((twoDigitValue / 10) << 4 | twoDigitValue % 10); }
unsigned fromBcd(uint8_t byte) { return (byte >> 4) * 10u + (byte & 0x0Fu); }

std::array<uint8_t, kBinaryStampPixels> binaryStamp(const StampMoment& m) {
    const uint64_t counter = m.imageCounter % 100000000u;
    const unsigned year = fourDigits(m.year);
    const uint32_t us = m.microseconds % 1000000u;
    return {bcd(static_cast<unsigned>(counter / 1000000)),
            bcd(static_cast<unsigned>(counter / 10000 % 100)),
            bcd(static_cast<unsigned>(counter / 100 % 100)),
            bcd(static_cast<unsigned>(counter % 100)),
            bcd(year / 100),
            bcd(year % 100),
            bcd(twoDigits(m.month)),
            bcd(twoDigits(m.day)),
            bcd(twoDigits(m.hour)),
            bcd(twoDigits(m.minute)),
            bcd(twoDigits(m.second)),
            bcd(us / 10000),
            bcd(us / 100 % 100),
            bcd(us % 100)};
}

// A cell the readable stamp leaves as the image has it.
constexpr char kKeptCell = '\0';

// The readable stamp's text, one character per cell. The day is written with "%d" into its
// two cells, so a one-digit day leaves the second cell kept.
std::string readableText(const StampMoment& m) {
    static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const char* month = m.month >= 1 && m.month <= 12 ? kMonths[m.month - 1] : "   ";
    char counter[16];
    std::snprintf(counter, sizeof counter, "%07llu ", static_cast<unsigned long long>(m.imageCounter % 10000000u));
    char day[4];
    std::snprintf(day, sizeof day, "%u", twoDigits(m.day));
    char rest[kReadableCells + 1];
    std::snprintf(rest, sizeof rest, " %s%04u %02u:%02u:%02u.%06u", month, fourDigits(m.year), twoDigits(m.hour),
                  twoDigits(m.minute), twoDigits(m.second), static_cast<unsigned>(m.microseconds % 1000000u));
    std::string dayCells = day;
    dayCells.resize(2, kKeptCell);
    return counter + dayCells + rest;
}

// Whether the image takes the readable stamp: large enough, and the buffer holds every row
// up to the last row of the cells.
bool fitsReadable(std::size_t imageBytes, StampPixels pixels, uint64_t width, uint64_t height) {
    return knownPixelSize(pixels) && width >= kReadableMinWidth && height >= kReadableMinHeight &&
           width <= imageBytes / (std::size_t{kReadableRows} * pixels.bytesPerPixel);
}

}  // namespace

StampMoment stampMomentAt(uint64_t imageCounter, uint64_t nanosecondsSince1970) {
    constexpr uint64_t kPerSecond = 1000000000u;
    const platform::LocalTime local = platform::localTimeAt(static_cast<int64_t>(nanosecondsSince1970 / kPerSecond));
    StampMoment moment;
    moment.imageCounter = imageCounter;
    moment.year = local.year;
    moment.month = local.month;
    moment.day = local.day;
    moment.hour = local.hour;
    moment.minute = local.minute;
    moment.second = local.second;
    moment.microseconds = static_cast<uint32_t>(nanosecondsSince1970 % kPerSecond / 1000);
    return moment;
}

void writeBinaryStamp(void* image, std::size_t imageBytes, StampPixels pixels, const StampMoment& moment) {
    if (!knownPixelSize(pixels)) return;
    const auto stamp = binaryStamp(moment);
    const std::size_t fitting = imageBytes / pixels.bytesPerPixel;
    auto* out = static_cast<uint8_t*>(image);
    for (std::size_t i = 0; i < stamp.size() && i < fitting; ++i)
        putPixel(out, i, pixels.bytesPerPixel, static_cast<uint32_t>(stamp[i]) << bcdShift(pixels));
}

bool readBinaryStamp(const void* image, std::size_t imageBytes, StampPixels pixels, StampMoment& moment) {
    if (!knownPixelSize(pixels) || imageBytes / pixels.bytesPerPixel < kBinaryStampPixels) return false;
    const auto* in = static_cast<const uint8_t*>(image);
    unsigned v[kBinaryStampPixels];
    for (unsigned i = 0; i < kBinaryStampPixels; ++i) {
        const auto byte = static_cast<uint8_t>(getPixel(in, i, pixels.bytesPerPixel) >> bcdShift(pixels));
        if ((byte >> 4) > 9 || (byte & 0x0F) > 9) return false;
        v[i] = fromBcd(byte);
    }
    moment.imageCounter = ((v[0] * 100ull + v[1]) * 100 + v[2]) * 100 + v[3];
    moment.year = static_cast<int>(v[4] * 100 + v[5]);
    moment.month = static_cast<int>(v[6]);
    moment.day = static_cast<int>(v[7]);
    moment.hour = static_cast<int>(v[8]);
    moment.minute = static_cast<int>(v[9]);
    moment.second = static_cast<int>(v[10]);
    moment.microseconds = (v[11] * 100u + v[12]) * 100u + v[13];
    return true;
}

bool writeReadableStamp(void* image, std::size_t imageBytes, StampPixels pixels, uint64_t width, uint64_t height,
                        const StampMoment& moment) {
    if (!fitsReadable(imageBytes, pixels, width, height)) return false;
    const std::string text = readableText(moment);
    const uint32_t ink = inkValue(pixels);
    auto* out = static_cast<uint8_t*>(image);
    for (unsigned cell = 0; cell < kReadableCells; ++cell) {
        if (text[cell] == kKeptCell) continue;
        const Glyph* glyph = findGlyph(text[cell]);
        if (!glyph) glyph = findGlyph(' ');
        const uint64_t left = kReadableFirstColumn + uint64_t{kGlyphWidth} * cell;
        for (unsigned r = 0; r < kGlyphHeight; ++r) {
            const std::size_t rowStart = static_cast<std::size_t>((kReadableFirstRow + r) * width);
            for (unsigned c = 0; c < kGlyphWidth && left + c < width; ++c)
                putPixel(out, rowStart + left + c, pixels.bytesPerPixel, glyph->ink(r, c) ? ink : 0);
        }
    }
    return true;
}

std::string readReadableStamp(const void* image, std::size_t imageBytes, StampPixels pixels, uint64_t width,
                              uint64_t height) {
    if (!fitsReadable(imageBytes, pixels, width, height)) return {};
    const uint32_t ink = inkValue(pixels);
    const auto* in = static_cast<const uint8_t*>(image);
    std::string text;
    for (unsigned cell = 0; cell < kReadableCells; ++cell) {
        const uint64_t left = kReadableFirstColumn + uint64_t{kGlyphWidth} * cell;
        uint8_t rows[kGlyphHeight] = {};
        for (unsigned r = 0; r < kGlyphHeight; ++r) {
            const std::size_t rowStart = static_cast<std::size_t>((kReadableFirstRow + r) * width);
            for (unsigned c = 0; c < kGlyphWidth && left + c < width; ++c)
                if (2 * getPixel(in, rowStart + left + c, pixels.bytesPerPixel) >= ink)
                    rows[r] |= static_cast<uint8_t>(0x80u >> c);
        }
        text += matchGlyph(rows);
    }
    return text;
}

}  // namespace tq4::stream
