// The block of memory shared by every process that has the driver library loaded. The first
// process fixes the folder and file paths; later processes use them as they stand.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tq4::config {

constexpr const char* kDriverBlockName = "TQ4_GENICAM_DLL";
constexpr std::size_t kDriverBlockSize = 820;
constexpr std::size_t kBlockPathSize = 260;

struct DriverSharedBlock {
    uint32_t attachCount;  // processes that have the library loaded
    uint32_t unused;
    char logPath[kBlockPathSize];     // full path of the log file
    char iniPath[kBlockPathSize];     // full path of the configuration file
    char dataFolder[kBlockPathSize];  // the driver's data folder
    uint8_t reserved[32];
};

static_assert(offsetof(DriverSharedBlock, attachCount) == 0, "layout is shared with other processes");
static_assert(offsetof(DriverSharedBlock, logPath) == 8, "layout is shared with other processes");
static_assert(offsetof(DriverSharedBlock, iniPath) == 268, "layout is shared with other processes");
static_assert(offsetof(DriverSharedBlock, dataFolder) == 528, "layout is shared with other processes");
static_assert(offsetof(DriverSharedBlock, reserved) == 788, "layout is shared with other processes");
static_assert(sizeof(DriverSharedBlock) == kDriverBlockSize, "layout is shared with other processes");

}  // namespace tq4::config
