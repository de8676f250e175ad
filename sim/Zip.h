// A minimal zip archive writer: one file, deflated with zlib, enough for GenICam consumers
// that load a zipped camera description.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zevo {

// An archive holding `content` under `fileName`, compressed with deflate.
std::vector<uint8_t> zipSingleFile(const std::string& fileName, const std::string& content);

}  // namespace zevo
