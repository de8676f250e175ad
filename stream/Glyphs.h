// The glyph table of the readable time stamp: an 8 x 16 bitmap font holding the characters the
// stamp draws (digits, blank, colon, full stop and the letters of the English three-letter
// month abbreviations). Every glyph has 7 columns of ink and an 8th column that is always
// blank, so characters in adjacent 8-pixel cells keep a pixel of space between them and the
// last cell of a row may lose its 8th column without losing ink. Rows 0-1 and 15 are a
// margin; digits and capitals stand in rows 2-12, lower-case letters from row 5 down to the
// baseline in row 12, descenders reach row 14.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tq4::stream {

constexpr unsigned kGlyphWidth = 8;
constexpr unsigned kGlyphHeight = 16;

// One character's bitmap: a byte per row, bit 7 the leftmost column, bit 0 (column 7) clear.
struct Glyph {
    char character = ' ';
    uint8_t rows[kGlyphHeight] = {};

    bool ink(unsigned row, unsigned column) const { return (rows[row] >> (7 - column)) & 1u; }
};

// The whole table; no two glyphs have the same bitmap.
struct GlyphTable {
    const Glyph* first;
    const Glyph* last;

    const Glyph* begin() const { return first; }
    const Glyph* end() const { return last; }
    std::size_t size() const { return static_cast<std::size_t>(last - first); }
};
GlyphTable glyphTable();

// The glyph of `character`, or nullptr when the table has none.
const Glyph* findGlyph(char character);

// The character whose bitmap equals `rows` exactly, or '?' when none does.
char matchGlyph(const uint8_t (&rows)[kGlyphHeight]);

}  // namespace tq4::stream
