// The driver library loaded at run time, the way the camera SDK loads it, with the exports
// tq4cam uses resolved by name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "tq4_genicam.h"

namespace tq4::tools {

class DriverLibrary {
public:
    DriverLibrary() = default;
    // The library stays loaded until the process ends, when its own exit handler detaches it (as
    // the camera SDK's host process does). Unloading it earlier would leave the GLib types that
    // the node-map engine registered pointing into a library that is gone.
    ~DriverLibrary() = default;
    DriverLibrary(const DriverLibrary&) = delete;
    DriverLibrary& operator=(const DriverLibrary&) = delete;

    // Loads the library and resolves the exports; false with `error` filled on failure.
    bool load(const std::string& path, std::string& error);

    // <folder of this program>/../driver/libtq4_genicam.so (the build layout), then the same
    // folder, then the bare name for the dynamic linker's own search.
    static std::string defaultPath();

    decltype(&::Open_Cam) openCam = nullptr;
    decltype(&::Open_Cam_Ext) openCamExt = nullptr;
    decltype(&::Close_Cam) closeCam = nullptr;
    decltype(&::Control_Command) controlCommand = nullptr;
    decltype(&::ZEVO_GetVersionTQ4_Genicam) getVersion = nullptr;
    decltype(&::Set_Image_Buffer) setImageBuffer = nullptr;
    decltype(&::Cancel_Images) cancelImages = nullptr;
    decltype(&::Get_Image_Transfer_Mode) getImageTransferMode = nullptr;

private:
    template <typename F>
    bool resolve(F& target, const char* name, std::string& error);

    platform::ModuleHandle module_ = nullptr;
};

// Where the driver finds one camera: its producer and its place among that producer's cameras.
struct CameraPlace {
    uint32_t number = 0;    // its number over the whole producer list, as tq4cam list shows it
    std::string producer;   // its producer, as the producer list names it
    uint32_t position = 0;  // its place among the cameras of that producer
    std::string name;       // its display name, which GET_CAMERA_NAME answers (first 39 characters)
};

// One opened camera; closed again when the session ends.
class CameraSession {
public:
    // The camera the driver gives `number` (the first free one of the first producer that has one).
    CameraSession(DriverLibrary& library, uint32_t number, const std::string& producers);
    // The camera at `place`. The driver gives a number to the first camera of a producer that is
    // free in this process, so the cameras before it are opened on the way (each under a number
    // of its own) and closed again once it is open.
    CameraSession(DriverLibrary& library, const CameraPlace& place);
    ~CameraSession();
    CameraSession(const CameraSession&) = delete;
    CameraSession& operator=(const CameraSession&) = delete;

    uint32_t openResult() const { return openResult_; }
    bool isOpen() const { return handle_ != nullptr && openResult_ == ZEVO_NOERROR; }
    TQ4_HANDLE handle() const { return handle_; }
    uint32_t number() const { return number_; }

    struct Exchange {
        std::vector<uint8_t> request;
        std::vector<uint8_t> response;  // as long as the response's own size field says
        uint32_t result = 0;
    };
    // Sends a telegram built from `code` and `payload` (size and checksum added); with
    // `printTelegrams` on, its bytes and the result are printed.
    Exchange send(uint16_t code, const std::vector<uint8_t>& payload = {});
    void printTelegrams(bool on) { printTelegrams_ = on; }
    // The name the camera reports (GET_CAMERA_NAME), so that a user sees what a number opened.
    std::string name();
    DriverLibrary& library() { return library_; }

private:
    DriverLibrary& library_;
    TQ4_HANDLE handle_ = nullptr;
    uint32_t openResult_ = 0;
    uint32_t number_ = 0;
    bool printTelegrams_ = false;
};

// Request telegram: code, size, payload, checksum (sum of the preceding bytes).
std::vector<uint8_t> buildTelegram(uint16_t code, const std::vector<uint8_t>& payload);

}  // namespace tq4::tools
