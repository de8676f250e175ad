// libFuzzer target: Control_Command on an opened simulated camera with arbitrary telegrams.
//
// Input: two bytes of size_out (little-endian, taken modulo 600 so that refused sizes occur
// too), one byte that shortens size_in, then the telegram. The telegram and the response are
// copied into heap blocks of exactly size_in and size_out bytes, so the address sanitizer
// reports any read or write outside what the caller handed over. The telegram's own code and
// size fields are whatever the fuzzer makes of them.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "tq4_genicam.h"

namespace {

TQ4_HANDLE gCamera = nullptr;

// Starts the download tool and waits for camera frames: far too slow for fuzzing, and covered
// by its own tests.
constexpr uint16_t kSkippedCode = SWIR_GENERATE_CORRECTION_DATA;

constexpr std::size_t kHeader = 3;
constexpr uint32_t kSizeOutRange = 600;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const auto folder = std::filesystem::temp_directory_path() / "tq4_control_command_fuzz";
    std::filesystem::create_directories(folder);
    setenv("TQ4_COMMON_APPDATA", folder.c_str(), 1);
    setenv("GENICAM_GENTL64_PATH", TQ4_SIM_DIR, 1);
    setenv("TQ4_QUESTION_ANSWER", "no", 1);
    unsetenv("ZEVO_SIM_CONFIG");
    if (Open_Cam(0, &gCamera) != ZEVO_NOERROR) std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < kHeader) return 0;
    const uint32_t sizeOut = (data[0] | (uint32_t(data[1]) << 8)) % kSizeOutRange;
    const std::size_t available = size - kHeader;
    const std::size_t shortenBy = std::min<std::size_t>(data[2], available);
    const std::size_t sizeIn = available - shortenBy;
    if (sizeIn >= 2 && (data[kHeader] | (data[kHeader + 1] << 8)) == kSkippedCode) return 0;

    std::unique_ptr<uint8_t[]> telegram(new uint8_t[sizeIn ? sizeIn : 1]);
    std::memcpy(telegram.get(), data + kHeader, sizeIn);
    std::unique_ptr<uint8_t[]> response(new uint8_t[sizeOut ? sizeOut : 1]);
    Control_Command(gCamera, telegram.get(), static_cast<int32_t>(sizeIn), response.get(), sizeOut);
    return 0;
}
