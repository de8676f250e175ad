// Library load and unload, and the GenICam engine's availability.
#pragma once

namespace tq4::driver {

// Version of the driver, as the version exports and the log banner give it.
constexpr unsigned kVersion[4] = {1, 9, 0, 0};
constexpr const char* kVersionText = "1,9,0,0";
constexpr const char* kProductText = "GenICam_Driver (64bit)";
constexpr const char* kBuildDateText = "Apr 17 2025";

// Whether the registry of opened cameras still exists (asked at the last unload).
bool registryExists();

// Whether the GenICam node-map engine can be used. On Linux the engine is an ordinary
// shared-library dependency that the dynamic linker resolved before this library's code could
// run at all; a missing engine already made the load fail, so there is nothing left to test.
// (The check for the six engine files beside the library and the delayed-load hook belong to
// the Windows build, where the engine is imported lazily.)
bool genicamAvailable();

}  // namespace tq4::driver
