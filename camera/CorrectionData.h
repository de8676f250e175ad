// The camera's correction references: a black (offset) and a white (gain) reference per serial
// number and pixel depth, kept as files on the host in <driver data directory>/correction_data
// under the names <serial>_b<bits> and <serial>_w<bits>. The camera corrects the pixels
// itself; the driver hands it the files' paths, chooses its NUCMode, and asks the user to run
// the maker's download tool when references are missing.
#pragma once

#include <string>

namespace tq4::gentl {
class Device;
}

namespace tq4::camera {

using gentl::Device;

enum class Reference { Black, White };

// The download tool's file name, found on the producer search path.
constexpr const char* kDownloadTool = "zevo.quillonSWIR.exe";

// <driver data directory>/correction_data, without a trailing separator; empty when no data
// folder can be named.
std::string correctionDirectory();
// The file of `kind` for the device's serial number and its active stream's pixel depth.
std::string referencePath(Device& device, Reference kind);

// Hands the camera the references that exist and selects "Both" when it accepts both. When
// any is missing, asks whether to run the download tool (unless the configuration suppresses
// the question); on Yes the device is closed and the tool started. False when the correction
// directory cannot be made or the tool was started.
bool loadCorrectionData(Device& device);

// Deletes the reference file of `kind`, lets the camera take a new reference from what it sees
// and save it to that file. True when the file exists afterwards. An old file that cannot be
// deleted throws std::filesystem::filesystem_error.
bool generateReference(Device& device, Reference kind);

}  // namespace tq4::camera
