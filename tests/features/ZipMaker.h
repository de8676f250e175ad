// Builds a one-file zip archive in memory, stored or deflated, for the loading tests.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>

namespace tq4::features::test {

inline void putLe(std::string& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(char((value >> (8 * i)) & 0xFF));
}

inline std::string rawDeflate(const std::string& data) {
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    std::string out(deflateBound(&stream, uLong(data.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

inline std::string makeZip(const std::string& name, const std::string& data, bool deflated) {
    const std::string body = deflated ? rawDeflate(data) : data;
    const uint32_t crc = uint32_t(crc32(0, reinterpret_cast<const Bytef*>(data.data()), uInt(data.size())));
    const uint16_t method = deflated ? 8 : 0;
    auto fileFields = [&](std::string& out) {
        putLe(out, 20, 2);  // version needed
        putLe(out, 0, 2);   // flags
        putLe(out, method, 2);
        putLe(out, 0, 4);  // time and date
        putLe(out, crc, 4);
        putLe(out, uint32_t(body.size()), 4);
        putLe(out, uint32_t(data.size()), 4);
        putLe(out, uint32_t(name.size()), 2);
        putLe(out, 0, 2);  // extra length
    };
    std::string zip;
    putLe(zip, 0x04034b50, 4);
    fileFields(zip);
    zip += name + body;
    const uint32_t directoryOffset = uint32_t(zip.size());
    putLe(zip, 0x02014b50, 4);
    putLe(zip, 20, 2);  // version made by
    fileFields(zip);
    putLe(zip, 0, 2);  // comment length
    putLe(zip, 0, 2);  // disk number
    putLe(zip, 0, 2);  // internal attributes
    putLe(zip, 0, 4);  // external attributes
    putLe(zip, 0, 4);  // offset of the local header
    zip += name;
    const uint32_t directorySize = uint32_t(zip.size()) - directoryOffset;
    putLe(zip, 0x06054b50, 4);
    putLe(zip, 0, 4);  // disk numbers
    putLe(zip, 1, 2);
    putLe(zip, 1, 2);
    putLe(zip, directorySize, 4);
    putLe(zip, directoryOffset, 4);
    putLe(zip, 0, 2);
    return zip;
}

}  // namespace tq4::features::test
