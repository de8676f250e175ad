#include "sim/Zip.h"

#include <zlib.h>
#include <stdexcept>

namespace zevo {
namespace {

constexpr uint32_t kLocalHeaderSignature = 0x04034b50;
constexpr uint32_t kCentralHeaderSignature = 0x02014b50;
constexpr uint32_t kEndOfCentralSignature = 0x06054b50;
constexpr uint16_t kVersionNeeded = 20;  // 2.0: deflate
constexpr uint16_t kMethodDeflate = 8;
constexpr uint16_t kDosTime = 0;                         // 00:00:00
constexpr uint16_t kDosDate = (44 << 9) | (1 << 5) | 1;  // 2024-01-01

void put16(std::vector<uint8_t>& out, uint16_t v) {
    out.push_back(uint8_t(v));
    out.push_back(uint8_t(v >> 8));
}

void put32(std::vector<uint8_t>& out, uint32_t v) {
    put16(out, uint16_t(v));
    put16(out, uint16_t(v >> 16));
}

std::vector<uint8_t> rawDeflate(const std::string& content) {
    z_stream z{};
    // Negative window bits: raw deflate without zlib header, as zip stores it.
    if (deflateInit2(&z, Z_BEST_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error("deflateInit2 failed");
    std::vector<uint8_t> out(deflateBound(&z, uLong(content.size())));
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
    z.avail_in = uInt(content.size());
    z.next_out = out.data();
    z.avail_out = uInt(out.size());
    const int rc = deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    if (rc != Z_STREAM_END) throw std::runtime_error("deflate failed");
    return out;
}

struct Entry {
    std::string name;
    uint32_t crc;
    uint32_t compressedSize;
    uint32_t size;
};

// The part that the local and the central header share, from "version needed" on.
void putCommonHeader(std::vector<uint8_t>& out, const Entry& e) {
    put16(out, kVersionNeeded);
    put16(out, 0);  // flags
    put16(out, kMethodDeflate);
    put16(out, kDosTime);
    put16(out, kDosDate);
    put32(out, e.crc);
    put32(out, e.compressedSize);
    put32(out, e.size);
    put16(out, uint16_t(e.name.size()));
    put16(out, 0);  // extra field length
}

}  // namespace

std::vector<uint8_t> zipSingleFile(const std::string& fileName, const std::string& content) {
    const std::vector<uint8_t> data = rawDeflate(content);
    const Entry e{fileName, uint32_t(crc32(0L, reinterpret_cast<const Bytef*>(content.data()), uInt(content.size()))),
                  uint32_t(data.size()), uint32_t(content.size())};
    std::vector<uint8_t> out;
    put32(out, kLocalHeaderSignature);
    putCommonHeader(out, e);
    out.insert(out.end(), e.name.begin(), e.name.end());
    out.insert(out.end(), data.begin(), data.end());

    const uint32_t centralOffset = uint32_t(out.size());
    put32(out, kCentralHeaderSignature);
    put16(out, kVersionNeeded);  // version made by
    putCommonHeader(out, e);
    put16(out, 0);  // comment length
    put16(out, 0);  // disk number
    put16(out, 0);  // internal attributes
    put32(out, 0);  // external attributes
    put32(out, 0);  // offset of the local header
    out.insert(out.end(), e.name.begin(), e.name.end());
    const uint32_t centralSize = uint32_t(out.size()) - centralOffset;

    put32(out, kEndOfCentralSignature);
    put16(out, 0);  // this disk
    put16(out, 0);  // disk with the central directory
    put16(out, 1);  // entries on this disk
    put16(out, 1);  // entries in total
    put32(out, centralSize);
    put32(out, centralOffset);
    put16(out, 0);  // comment length
    return out;
}

}  // namespace zevo
