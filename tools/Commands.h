// tq4cam's commands. Each returns the program's exit code: 0 done, 1 the camera or the driver
// refused, 2 bad arguments, 130 interrupted by Ctrl-C. Messages name their cause in one line on
// stderr; results go to stdout.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/ImageFiles.h"
#include "tools/Producers.h"

namespace tq4::tools {

struct GlobalOptions {
    std::string libraryPath;  // the driver library; empty: next to tq4cam, then the linker's search
    std::string producers;    // producer list instead of the configuration file's
    CameraChoice camera;      // the camera every command is about
    bool raw = false;         // also print every telegram's bytes
};

// The everyday settings, sent as the SDK sends them: telegrams through the driver.
struct CameraSettings {
    std::optional<std::string> exposure;  // "10ms", "250us", "1s", "800ns"; a bare number is us
    std::optional<std::string> delay;
    std::optional<std::string> roi;  // "X0,Y0,X1,Y1", from 1, inclusive
    std::optional<uint16_t> binning;
    std::optional<std::string> trigger;       // auto, software, external, width
    std::optional<std::string> timestamp;     // none, binary, both, readable
    std::optional<std::string> bitAlignment;  // msb, lsb
};

struct GrabOptions {
    uint32_t frames = 10;
    std::string folder;
    std::string format = kTiffAndPng ? "tiff" : "pgm";  // tiff, png, pgm
    uint32_t buffers = 4;
    uint32_t timeoutMs = 5000;
    bool overwrite = false;  // remove the frames of an earlier grab in the folder first
};

struct ViewOptions {
    uint32_t frames = 0;                 // 0: until the window is closed or Ctrl-C
    std::string sink = "autovideosink";  // the GStreamer element that shows the images
};

int runInfo(const GlobalOptions& options);
int runRaw(const GlobalOptions& options, const std::vector<std::string>& words);
int runVersion(const GlobalOptions& options);
int runList(const GlobalOptions& options);
int runFeatures(const GlobalOptions& options, const std::string& filter);
int runGet(const GlobalOptions& options, const std::vector<std::string>& names);
int runSet(const GlobalOptions& options, const std::vector<std::string>& assignments);
int runControl(const GlobalOptions& options, const CameraSettings& settings);
int runGrab(const GlobalOptions& options, const CameraSettings& settings, const GrabOptions& grab);
int runView(const GlobalOptions& options, const CameraSettings& settings, const ViewOptions& view);

// The message every command prints for a failure: "tq4cam: <text>" on stderr.
void complain(const std::string& text);

// For the commands that go through the driver: the library of the options loaded, and the camera
// of the options opened through it (with --raw, printing every telegram it is sent). False or
// nothing, with the reason told, when that fails.
bool loadLibrary(const GlobalOptions& options, DriverLibrary& library);
std::unique_ptr<CameraSession> openCamera(const GlobalOptions& options, DriverLibrary& library);

}  // namespace tq4::tools
