// One grabbed image written as a file: TIFF (the data as it is, 8 or 16 bits), PNG (an 8-bit
// preview scaled from the bits the camera uses) or PGM. Each file appears whole or not at all:
// it is written beside its place and renamed into it.
#pragma once

#include <cstdint>
#include <string>

namespace tq4::tools {

struct ImageView {
    const uint8_t* data;
    uint32_t width;
    uint32_t height;
    uint32_t bytesPerPixel;  // 1 or 2 (little-endian)
    uint32_t bits;           // bits the camera uses (8 to 16)
    bool msbAligned;         // the data sits in the top bits of each pixel
};

// Whether this build writes TIFF and PNG (the Windows build, without libtiff and libpng for
// mingw-w64, writes PGM only).
#if defined(_WIN32)
#define TQ4_TOOLS_TIFF_PNG 0
#else
#define TQ4_TOOLS_TIFF_PNG 1
#endif
constexpr bool kTiffAndPng = TQ4_TOOLS_TIFF_PNG;

// "tiff", "png" or "pgm" (those this build writes): the file name extension; false for any
// other format.
bool isImageFormat(const std::string& format);
// Writes `image` to `path` in `format`; false with `error` filled.
bool writeImage(const std::string& path, const std::string& format, const ImageView& image, std::string& error);

}  // namespace tq4::tools
