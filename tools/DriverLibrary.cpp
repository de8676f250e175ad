#include "tools/DriverLibrary.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "telegram/Telegram.h"
#include "tools/Decode.h"
#include "tools/ResultNames.h"

namespace tq4::tools {

namespace {
#if defined(_WIN32)
const char kLibraryName[] = "tq4_genicam.dll";
#else
const char kLibraryName[] = "libtq4_genicam.so";
#endif
constexpr uint32_t kResponseCapacity = 512;              // the largest response buffer the driver accepts
constexpr std::size_t kNameOffset = 4, kNameField = 40;  // GET_CAMERA_NAME: text and its NUL
}  // namespace

template <typename F>
bool DriverLibrary::resolve(F& target, const char* name, std::string& error) {
    target = reinterpret_cast<F>(platform::moduleSymbol(module_, name));
    if (!target) error = std::string(name) + " not found: " + platform::lastModuleError();
    return target != nullptr;
}

bool DriverLibrary::load(const std::string& path, std::string& error) {
    module_ = platform::loadModule(path);
    if (!module_) {
        error = "cannot load " + path + ": " + platform::lastModuleError();
        return false;
    }
    return resolve(openCam, "Open_Cam", error) && resolve(openCamExt, "Open_Cam_Ext", error) &&
           resolve(closeCam, "Close_Cam", error) && resolve(controlCommand, "Control_Command", error) &&
           resolve(getVersion, "ZEVO_GetVersionTQ4_Genicam", error) &&
           resolve(setImageBuffer, "Set_Image_Buffer", error) && resolve(cancelImages, "Cancel_Images", error) &&
           resolve(getImageTransferMode, "Get_Image_Transfer_Mode", error);
}

std::string DriverLibrary::defaultPath() {
    std::string executable;
    if (!platform::executablePath(executable)) return kLibraryName;
    const std::string folder = executable.substr(0, executable.find_last_of(platform::pathSeparator()) + 1);
    for (const std::string& candidate : {folder + "../driver/" + kLibraryName, folder + kLibraryName})
        if (platform::fileExists(candidate)) return candidate;
    return kLibraryName;
}

CameraSession::CameraSession(DriverLibrary& library, uint32_t number, const std::string& producers)
    : library_(library), number_(number) {
    if (producers.empty()) {
        openResult_ = library_.openCam(number, &handle_);
        return;
    }
    TQ4_OpenStruct open{};
    open.producerList = producers.c_str();
    openResult_ = library_.openCamExt(number, &handle_, &open);
}

CameraSession::CameraSession(DriverLibrary& library, const CameraPlace& place)
    : library_(library), number_(place.number) {
    TQ4_OpenStruct open{};
    open.producerList = place.producer.c_str();
    std::vector<TQ4_HANDLE> before;
    // Ends when the camera is open or the driver finds no free camera any more; a camera that
    // another process holds is passed over by the driver, hence the check of every name.
    for (uint32_t number = place.number - place.position;; ++number) {
        openResult_ = library_.openCamExt(number, &handle_, &open);
        if (openResult_ != ZEVO_NOERROR || name() == place.name.substr(0, kNameField - 1)) break;
        before.push_back(handle_);
        handle_ = nullptr;
    }
    for (TQ4_HANDLE& other : before) library_.closeCam(&other);
}

CameraSession::~CameraSession() {
    if (isOpen()) library_.closeCam(&handle_);
}

std::vector<uint8_t> buildTelegram(uint16_t code, const std::vector<uint8_t>& payload) {
    return ZEVO_TELEGRAM::buildRequest(code, payload);
}

CameraSession::Exchange CameraSession::send(uint16_t code, const std::vector<uint8_t>& payload) {
    Exchange exchange;
    exchange.request = buildTelegram(code, payload);
    std::vector<uint8_t> response(kResponseCapacity, 0);
    exchange.result =
        library_.controlCommand(handle_, exchange.request.data(), static_cast<int32_t>(exchange.request.size()),
                                response.data(), kResponseCapacity);
    // A refused request leaves the buffer alone: the size field then reads 0.
    const std::size_t length = std::min<std::size_t>(response[2] | (response[3] << 8), kResponseCapacity);
    response.resize(length);
    exchange.response = std::move(response);
    if (printTelegrams_) {
        std::printf("  > %s\n", hexBytes(exchange.request).c_str());
        if (!exchange.response.empty()) std::printf("  < %s\n", hexBytes(exchange.response).c_str());
        std::printf("  result %s\n", describeResult(exchange.result).c_str());
    }
    return exchange;
}

std::string CameraSession::name() {
    const std::vector<uint8_t> response = send(GET_CAMERA_NAME).response;
    if (response.size() < kNameOffset + kNameField) return "?";
    const char* text = reinterpret_cast<const char*>(response.data() + kNameOffset);
    return std::string(text, strnlen(text, kNameField));
}

}  // namespace tq4::tools
