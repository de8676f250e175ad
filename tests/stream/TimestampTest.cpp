// The binary and readable time stamps at each pixel depth, decoded back by the readers, and
// the limits of what the stamps write.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "stream/Glyphs.h"
#include "stream/Timestamp.h"

namespace tq4::stream {
namespace {

struct Depth {
    StampPixels pixels;
    unsigned bcdShift;
    uint32_t ink;
    const char* name;
};
const Depth kDepths[] = {
    {{1, 8}, 0, 0xFF, "8-bit"}, {{2, 16}, 8, 0xFFFF, "16-bit"}, {{2, 12}, 4, 0x0FFF, "12-bit LSB"}};

StampMoment moment(uint64_t counter, int year, int month, int day, int hour, int minute, int second, uint32_t us) {
    StampMoment m;
    m.imageCounter = counter;
    m.year = year, m.month = month, m.day = day, m.hour = hour, m.minute = minute, m.second = second;
    m.microseconds = us;
    return m;
}
const StampMoment kEarly = moment(1234567890123ull, 2026, 3, 4, 5, 6, 7, 0);
const StampMoment kLate = moment(99999999, 1999, 12, 31, 23, 59, 59, 999999);

auto fields(const StampMoment& m) {
    return std::make_tuple(m.year, m.month, m.day, m.hour, m.minute, m.second, m.microseconds);
}

uint32_t pixelAt(const std::vector<uint8_t>& image, std::size_t index, unsigned bytesPerPixel) {
    if (bytesPerPixel == 1) return image[index];
    return image[2 * index] | uint32_t{image[2 * index + 1]} << 8;
}

std::vector<uint8_t> pattern(std::size_t bytes) {
    std::vector<uint8_t> image(bytes);
    for (std::size_t i = 0; i < bytes; ++i) image[i] = static_cast<uint8_t>(i * 37 + 11);
    return image;
}

TEST(BinaryStamp, RoundTripsAtEachDepthWithTheByteInTheTopSignificantBits) {
    for (const Depth& d : kDepths) {
        SCOPED_TRACE(d.name);
        for (const StampMoment& in : {kEarly, kLate}) {
            std::vector<uint8_t> image = pattern(64);
            writeBinaryStamp(image.data(), image.size(), d.pixels, in);
            StampMoment out;
            ASSERT_TRUE(readBinaryStamp(image.data(), image.size(), d.pixels, out));
            EXPECT_EQ(out.imageCounter, in.imageCounter % 100000000);
            EXPECT_EQ(fields(out), fields(in));
            const std::size_t stampBytes = 14 * d.pixels.bytesPerPixel;
            EXPECT_TRUE(std::equal(image.begin() + stampBytes, image.end(), pattern(64).begin() + stampBytes));
        }
        // kEarly: counter 67890123 -> 0x67 0x89 0x01 0x23; the century 0x20 in pixel 4.
        std::vector<uint8_t> image(64);
        writeBinaryStamp(image.data(), image.size(), d.pixels, kEarly);
        const uint32_t expected[] = {0x67, 0x89, 0x01, 0x23, 0x20, 0x26, 0x03, 0x04, 0x05, 0x06, 0x07, 0, 0, 0};
        for (unsigned i = 0; i < 14; ++i)
            EXPECT_EQ(pixelAt(image, i, d.pixels.bytesPerPixel), expected[i] << d.bcdShift) << i;
    }
}

TEST(BinaryStamp, WritesOnlyWhatFitsAndReadsOnlyValidBcd) {
    std::vector<uint8_t> image(32, 0xEE);
    writeBinaryStamp(image.data(), 9, {2, 16}, kLate);  // four whole pixels fit
    EXPECT_EQ(pixelAt(image, 3, 2), 0x9900u);
    for (std::size_t i = 8; i < image.size(); ++i) EXPECT_EQ(image[i], 0xEE) << i;
    StampMoment out;
    EXPECT_FALSE(readBinaryStamp(image.data(), 27, {2, 16}, out));

    writeBinaryStamp(image.data(), image.size(), {1, 8}, kLate);
    EXPECT_TRUE(readBinaryStamp(image.data(), 14, {1, 8}, out));
    for (uint8_t bad : {0x0A, 0xA0, 0xFF}) {
        std::vector<uint8_t> broken = image;
        broken[13] = bad;
        EXPECT_FALSE(readBinaryStamp(broken.data(), broken.size(), {1, 8}, out)) << int{bad};
    }
}

TEST(ReadableStamp, RoundTripsAtEachDepthInInkAndBackground) {
    const uint64_t width = 320, height = 80;
    for (const Depth& d : kDepths) {
        SCOPED_TRACE(d.name);
        const std::vector<uint8_t> background = pattern(width * height * d.pixels.bytesPerPixel);
        std::vector<uint8_t> image = background;
        ASSERT_TRUE(writeReadableStamp(image.data(), image.size(), d.pixels, width, height, kEarly));
        const std::string text = readReadableStamp(image.data(), image.size(), d.pixels, width, height);
        // The day is "%d": a one-digit day stands in its first cell and leaves the second as it was.
        EXPECT_EQ(text.substr(0, 9), "7890123 4");
        EXPECT_EQ(text.substr(10), " Mar2026 05:06:07.000000");
        const uint64_t keptCell = kReadableFirstColumn + 8 * 9;
        for (uint64_t y = kReadableFirstRow; y < kReadableFirstRow + kGlyphHeight; ++y)
            for (uint64_t x = kReadableFirstColumn; x < kReadableFirstColumn + 8 * kReadableCells; ++x) {
                const uint64_t i = y * width + x;
                const uint32_t v = pixelAt(image, i, d.pixels.bytesPerPixel);
                if (x >= keptCell && x < keptCell + 8)
                    ASSERT_EQ(v, pixelAt(background, i, d.pixels.bytesPerPixel)) << x << "," << y;
                else
                    ASSERT_TRUE(v == 0 || v == d.ink) << x << "," << y << ": " << v;
            }
        ASSERT_TRUE(writeReadableStamp(image.data(), image.size(), d.pixels, width, height, kLate));
        EXPECT_EQ(readReadableStamp(image.data(), image.size(), d.pixels, width, height),
                  "9999999 31 Dec1999 23:59:59.999999");
    }
}

TEST(ReadableStamp, NamesEveryMonthAndMarksUnknownCells) {
    const uint64_t width = 288, height = 80;
    std::vector<uint8_t> image(width * height);
    const char* names[] = {"    ", " Jan", " Feb", " Mar", " Apr", " May", " Jun",
                           " Jul", " Aug", " Sep", " Oct", " Nov", " Dec", "    "};
    for (int month = 0; month <= 13; ++month) {
        StampMoment m = kEarly;
        m.month = month;
        ASSERT_TRUE(writeReadableStamp(image.data(), image.size(), {1, 8}, width, height, m));
        EXPECT_EQ(readReadableStamp(image.data(), image.size(), {1, 8}, width, height).substr(10, 4), names[month]);
    }
    image[5 * width + kReadableFirstColumn + 8 * 3 + 7] = 0x80;  // ink in the blank 8th column of cell 3
    EXPECT_EQ(readReadableStamp(image.data(), image.size(), {1, 8}, width, height),
              "789?123 4     2026 05:06:07.000000");
}

TEST(ReadableStamp, RefusesSmallImagesAndStaysInsideTheRows) {
    const std::vector<uint8_t> before = pattern(288 * 80 * 2);
    std::vector<uint8_t> image = before;
    const std::size_t rowsNeeded = 288 * 17 * 2;
    EXPECT_FALSE(writeReadableStamp(image.data(), image.size(), {2, 12}, 287, 80, kEarly));
    EXPECT_FALSE(writeReadableStamp(image.data(), image.size(), {2, 12}, 288, 79, kEarly));
    EXPECT_FALSE(writeReadableStamp(image.data(), rowsNeeded - 1, {2, 12}, 288, 80, kEarly));
    EXPECT_EQ(image, before);
    EXPECT_EQ(readReadableStamp(image.data(), rowsNeeded - 1, {2, 12}, 288, 80), "");

    ASSERT_TRUE(writeReadableStamp(image.data(), rowsNeeded, {2, 12}, 288, 80, kLate));
    EXPECT_EQ(readReadableStamp(image.data(), rowsNeeded, {2, 12}, 288, 80), "9999999 31 Dec1999 23:59:59.999999");
    for (std::size_t y = 0; y < 80; ++y)
        for (std::size_t x = 0; x < 288; ++x) {
            const bool inCells = y >= 1 && y <= 16 && x >= 17;  // the last cell is cut at column 287
            if (!inCells) {
                ASSERT_EQ(pixelAt(image, y * 288 + x, 2), pixelAt(before, y * 288 + x, 2)) << x << "," << y;
            }
        }
}

TEST(Glyphs, AreDistinctAndCoverEveryStampCharacter) {
    const GlyphTable table = glyphTable();
    for (const Glyph& a : table) {
        for (const Glyph* b = &a + 1; b != table.end(); ++b) {
            EXPECT_NE(a.character, b->character);
            EXPECT_NE(std::memcmp(a.rows, b->rows, kGlyphHeight), 0) << a.character << " " << b->character;
        }
    }
    for (char c : std::string("0123456789 :.JanFebMarAprMayJunJulAugSepOctNovDec"))
        EXPECT_NE(findGlyph(c), nullptr) << c;
}

}  // namespace
}  // namespace tq4::stream
