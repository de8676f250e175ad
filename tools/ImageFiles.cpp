#include "tools/ImageFiles.h"

#if TQ4_TOOLS_TIFF_PNG
#include <png.h>
#include <tiffio.h>
#endif

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "platform/WholeFile.h"

namespace tq4::tools {

namespace {

uint16_t pixelAt(const ImageView& image, std::size_t index) {
    const uint8_t* p = image.data + index * image.bytesPerPixel;
    return image.bytesPerPixel == 1 ? p[0] : uint16_t(p[0] | (p[1] << 8));
}

// The largest value a pixel can hold, as the data is placed in it.
uint32_t fullScale(const ImageView& image) {
    const uint32_t containerBits = 8 * image.bytesPerPixel;
    const uint32_t bits = image.msbAligned || image.bits >= containerBits ? containerBits : image.bits;
    return (1u << bits) - 1;
}

#if TQ4_TOOLS_TIFF_PNG
bool writeTiff(const std::string& path, const ImageView& image, std::string& error) {
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    if (!tiff) {
        error = "libtiff cannot create the file";
        return false;
    }
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, image.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, image.height);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8 * image.bytesPerPixel);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, image.height);
    const std::size_t rowBytes = std::size_t(image.width) * image.bytesPerPixel;
    std::vector<uint8_t> row(rowBytes);
    bool written = true;
    for (uint32_t y = 0; y < image.height && written; ++y) {
        // The buffer is little-endian; libtiff takes samples in the host's order.
        for (std::size_t x = 0; x < image.width; ++x) {
            const uint16_t v = pixelAt(image, std::size_t(y) * image.width + x);
            if (image.bytesPerPixel == 1)
                row[x] = uint8_t(v);
            else
                std::memcpy(row.data() + 2 * x, &v, 2);
        }
        written = TIFFWriteScanline(tiff, row.data(), y, 0) == 1;
    }
    TIFFClose(tiff);
    if (!written) error = "libtiff could not write the image";
    return written;
}

bool writePng(const std::string& path, const ImageView& image, std::string& error) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) {
        error = "cannot create the file";
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        error = "libpng could not write the image";
        return false;
    }
    png_init_io(png, file);
    png_set_compression_level(png, 1);  // a preview: speed before size
    png_set_IHDR(png, info, image.width, image.height, 8, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    // An 8-bit preview: the used range scaled to 0..255.
    const uint32_t scale = fullScale(image);
    std::vector<uint8_t> row(image.width);
    for (uint32_t y = 0; y < image.height; ++y) {
        for (uint32_t x = 0; x < image.width; ++x)
            row[x] = uint8_t((uint32_t(pixelAt(image, std::size_t(y) * image.width + x)) * 255u + scale / 2) / scale);
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    const bool closed = std::fclose(file) == 0;
    if (!closed) error = "cannot finish the file";
    return closed;
}

#endif

bool writePgm(const std::string& path, const ImageView& image, std::string& error) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << "P5\n" << image.width << " " << image.height << "\n" << fullScale(image) << "\n";
    const std::size_t pixels = std::size_t(image.width) * image.height;
    std::vector<uint8_t> samples(pixels * image.bytesPerPixel);
    for (std::size_t i = 0; i < pixels; ++i) {
        const uint16_t v = pixelAt(image, i);
        if (image.bytesPerPixel == 1) {
            samples[i] = uint8_t(v);
        } else {  // PGM keeps 16-bit samples most significant byte first
            samples[2 * i] = uint8_t(v >> 8);
            samples[2 * i + 1] = uint8_t(v);
        }
    }
    out.write(reinterpret_cast<const char*>(samples.data()), std::streamsize(samples.size()));
    out.flush();
    if (!out) error = "cannot write the file";
    return bool(out);
}

}  // namespace

bool isImageFormat(const std::string& format) {
    return (kTiffAndPng && (format == "tiff" || format == "png")) || format == "pgm";
}

bool writeImage(const std::string& path, const std::string& format, const ImageView& image, std::string& error) {
    bool written = false;
    const std::string failed = platform::replaceFileWhole(path, [&](const std::string& part) {
#if TQ4_TOOLS_TIFF_PNG
        if (format == "tiff") return written = writeTiff(part, image, error);
        if (format == "png") return written = writePng(part, image, error);
#endif
        if (format == "pgm") return written = writePgm(part, image, error);
        error = "unknown format " + format;
        return false;
    });
    if (written && !failed.empty()) error = "cannot put the file in place: " + failed;
    return failed.empty();
}

}  // namespace tq4::tools
