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

// Whether the GenICam node-map engine can be used. A program that links the driver (Linux's
// shared library, the test programs) finds the engine as any other dependency: true. The
// Windows DLL imports the engine lazily from the "genicam" folder beside it: after
// useGenicamFolder(), true only when every engine file is there; the first missing one is
// logged as "genicam file %s not available".
bool genicamAvailable();
// The DLL's start-up: the engine's files are expected in, and loaded from, the "genicam" folder
// beside the library (the loader asks when a delay-imported engine file is not found).
void useGenicamFolder();

}  // namespace tq4::driver
