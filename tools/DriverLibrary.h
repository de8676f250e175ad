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
    ~DriverLibrary();
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

// One opened camera; closed again when the session ends.
class CameraSession {
public:
    CameraSession(DriverLibrary& library, uint32_t number, const std::string& producers);
    ~CameraSession();
    CameraSession(const CameraSession&) = delete;
    CameraSession& operator=(const CameraSession&) = delete;

    uint32_t openResult() const { return openResult_; }
    bool isOpen() const { return handle_ != nullptr && openResult_ == ZEVO_NOERROR; }
    TQ4_HANDLE handle() const { return handle_; }

    struct Exchange {
        std::vector<uint8_t> request;
        std::vector<uint8_t> response;  // as long as the response's own size field says
        uint32_t result = 0;
    };
    // Sends a telegram built from `code` and `payload` (size and checksum added); with
    // `printTelegrams` on, its bytes and the result are printed.
    Exchange send(uint16_t code, const std::vector<uint8_t>& payload = {});
    void printTelegrams(bool on) { printTelegrams_ = on; }
    DriverLibrary& library() { return library_; }

private:
    DriverLibrary& library_;
    TQ4_HANDLE handle_ = nullptr;
    uint32_t openResult_ = 0;
    bool printTelegrams_ = false;
};

// Request telegram: code, size, payload, checksum (sum of the preceding bytes).
std::vector<uint8_t> buildTelegram(uint16_t code, const std::vector<uint8_t>& payload);

}  // namespace tq4::tools
