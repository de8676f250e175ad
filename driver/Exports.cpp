// The library's exported functions. Each one runs the same frame before its own work: fetch
// the registry, refuse a null handle, refuse a handle the registry does not know, and refuse a
// camera whose access status is not read-write. The device found stays shared-owned for the
// whole call, so a concurrent close cannot free it underneath. No exception leaves an export.
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <string>

#include "driver/Driver.h"
#include "driver/Lifetime.h"
#include "driver/Open.h"
#include "features/ByName.h"
#include "gentl/Device.h"
#include "log/Log.h"
#include "platform/Platform.h"
#include "stream/DataStream.h"
#include "telegram/Dispatcher.h"
#include "telegram/Telegram.h"
#include "tq4_genicam.h"

using tq4::driver::Driver;
using DevicePtr = std::shared_ptr<tq4::gentl::Device>;

namespace {

namespace log = tq4::log;

// ---- exception guard -----------------------------------------------------------------------

template <typename Body>
uint32_t guarded(const char* exportName, const Body& body) noexcept {
    try {
        return body();
    } catch (const std::exception& e) {
        TQ4_LOG(log::kError, nullptr, "%s: unexpected exception: %s", exportName, e.what());
    } catch (...) {
        TQ4_LOG(log::kError, nullptr, "%s: unexpected exception.", exportName);
    }
    return ZEVO_ERROR_DRIVER_NODRIVER;
}

// ---- the common frame ------------------------------------------------------------------------

enum class Access { Checked, Unchecked };

// The texts that follow "<export>: " when the handle is null or unknown. Close_Cam words them
// differently and frames them with the separator line.
struct LookupTexts {
    const char* nullHandle;
    const char* notAvailable;
    bool separator;
};
constexpr LookupTexts kExportTexts{"failed, because HANDLE is nullptr.",
                                   "failed, because HANDLE is not available in driver.", false};
constexpr LookupTexts kCloseTexts{"close failed, because HANDLE is nullptr.",
                                  "closing failed, because HANDLE is not available in driver.", true};

struct Lookup {
    uint32_t code = ZEVO_NOERROR;
    DevicePtr device;
};

void logLookupFailure(const char* exportName, const char* text, bool separator) {
    TQ4_LOG(log::kError, nullptr, "%s: %s", exportName, text);
    if (separator) tq4::driver::logSeparator();
}

Lookup lookUp(const char* exportName, TQ4_HANDLE h, Access access, const LookupTexts& texts = kExportTexts) {
    auto driver = Driver::instance();
    if (!h) {
        logLookupFailure(exportName, texts.nullHandle, texts.separator);
        return {ZEVO_ERROR_DRIVER_NULLHANDLE, nullptr};
    }
    Lookup found{ZEVO_NOERROR, driver->getDevice(static_cast<const void*>(h))};
    if (!found.device) {
        logLookupFailure(exportName, texts.notAvailable, texts.separator);
        return {ZEVO_ERROR_DRIVER_NODRIVER, nullptr};
    }
    if (access == Access::Checked) {
        const int32_t status = found.device->getAccessStatus();
        if (!tq4::driver::isUsableAccessStatus(status)) {
            TQ4_LOG(log::kError, h, "%s: No access. GenTL::DEVICE_ACCESS_STATUS: %d", exportName, status);
            return {ZEVO_ERROR_DRIVER_NODRIVER, nullptr};
        }
    }
    return found;
}

// Frame, then `work(device)` with the device held for the whole call.
template <typename Work>
uint32_t withDevice(const char* exportName, TQ4_HANDLE h, Access access, const Work& work) {
    return guarded(exportName, [&]() -> uint32_t {
        Lookup found = lookUp(exportName, h, access);
        if (found.code != ZEVO_NOERROR) return found.code;
        return work(*found.device);
    });
}

// Logs "<export>: <text>" as an error and returns `code`.
uint32_t refuse(uint32_t code, TQ4_HANDLE h, const char* exportName, const char* text) {
    TQ4_LOG(log::kError, h, "%s: %s", exportName, text);
    return code;
}

// ---- Control_Command's size checks -------------------------------------------------------------

constexpr int32_t kMinTelegram = 5;
constexpr int32_t kMaxRequest = 511;
constexpr uint32_t kMaxResponse = 512;  // one more than a request may have

template <typename T>
bool inRange(T value, T low, T high) {
    return value >= low && value <= high;
}

uint32_t checkTelegramFrame(TQ4_HANDLE h, const void* telegram, int32_t size_in, void* response, uint32_t size_out) {
    if (!inRange(size_in, kMinTelegram, kMaxRequest)) {
        TQ4_LOG(log::kError, h, "Control_Command: wrong value size_in %d", size_in);
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    if (!telegram)
        return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Control_Command", "failed, because telegram is nullptr.");
    const auto* bytes = static_cast<const uint8_t*>(telegram);
    const uint16_t code = ZEVO_TELEGRAM::loadU16(bytes + ZEVO_TELEGRAM::kCodeOffset);
    const int32_t size = ZEVO_TELEGRAM::loadU16(bytes + ZEVO_TELEGRAM::kSizeOffset);
    if (code == 0) {
        TQ4_LOG(log::kError, h, "Control_Command: wrong value command in %d", 0);
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    if (!inRange(size, kMinTelegram, kMaxRequest) || size > size_in) {
        // The command code is printed, not the size: the code is what names the telegram.
        TQ4_LOG(log::kError, h, "Control_Command: wrong value command size in %d", code);
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    if (!inRange(size_out, static_cast<uint32_t>(kMinTelegram), kMaxResponse)) {
        TQ4_LOG(log::kError, h, "Control_Command: wrong value size_out %d", static_cast<int>(size_out));
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    if (!response)
        return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Control_Command", "failed, because response is nullptr.");
    return ZEVO_NOERROR;
}

// ---- small helpers -------------------------------------------------------------------------------

using StreamPtr = std::shared_ptr<tq4::stream::DataStream>;

StreamPtr streamOf(const tq4::gentl::Device& device) { return device.activeStream(); }

// An event HANDLE carries the event's native handle (an eventfd descriptor on Linux).
intptr_t eventHandleOf(TQ4_HANDLE event) { return reinterpret_cast<intptr_t>(event); }

bool isStreaming(const tq4::gentl::Device& device) {
    auto stream = streamOf(device);
    return stream && stream->isStreaming();
}

constexpr int32_t kImageParameterBytes = 16;  // width, height and two unused entries
constexpr int32_t kTransferModeBytes = 48;
constexpr uint32_t kTimeoutsWithImageTimeout = 8;

void fillTransferModeRecord(uint8_t* record, const tq4::gentl::Device& device) {
    auto stream = streamOf(device);
    const auto width = static_cast<uint16_t>(stream ? stream->width() : 0);
    const auto height = static_cast<uint16_t>(stream ? stream->height() : 0);
    std::memset(record, 0, kTransferModeBytes);
    ZEVO_TELEGRAM::storeU32(record, kTransferModeBytes);
    ZEVO_TELEGRAM::storeU16(record + 4, width);
    ZEVO_TELEGRAM::storeU16(record + 6, height);
    ZEVO_TELEGRAM::storeU16(record + 8, width);
    ZEVO_TELEGRAM::storeU16(record + 10, height);
}

void writeVersion(uint32_t* v1, uint32_t* v2, uint32_t* v3, uint32_t* v4) {
    uint32_t* targets[4] = {v1, v2, v3, v4};
    for (int i = 0; i < 4; ++i)
        if (targets[i]) *targets[i] = tq4::driver::kVersion[i];
}

// Opens and closes run one at a time in the process: the close of the last camera tears the
// registry and its producers down, which must not happen under an open running beside it.
std::mutex& openCloseLock() {
    static std::mutex lock;
    return lock;
}

// Close_Cam steps after the device's own close: count what is still open, tear the registry
// down after the last open in the process, and stop the log thread.
void finishClose(DevicePtr device) {
    const uint32_t stillOpen = Driver::instance()->NumOpenDevices();
    if (stillOpen == 0) {
        device.reset();
        Driver::clearInstance();
        Driver::destroyInstance();
    }
    TQ4_LOG(log::kProgress, nullptr, "Close_Cam: done.");
    tq4::driver::logSeparator();
    log::stop_logthread(500);
}

}  // namespace

// ================================================================================================
// Opening and closing
// ================================================================================================

extern "C" TQ4_API uint32_t Open_Cam(uint32_t num, TQ4_HANDLE* ph) {
    return guarded("Open_Cam", [&]() -> uint32_t {
        const auto low32 = static_cast<unsigned>(reinterpret_cast<uintptr_t>(ph ? *ph : nullptr));
        TQ4_LOG(log::kProgress, nullptr, "Open_Cam: num %d, HANDLE 0x%x", static_cast<int>(num), low32);
        std::lock_guard<std::mutex> lock(openCloseLock());
        return tq4::driver::openCamera(num, ph, nullptr);
    });
}

extern "C" TQ4_API uint32_t Open_Cam_Ext(uint32_t num, TQ4_HANDLE* ph, TQ4_OpenStruct* open) {
    return guarded("Open_Cam_Ext", [&] {
        std::lock_guard<std::mutex> lock(openCloseLock());
        return tq4::driver::openCamera(num, ph, open);
    });
}

extern "C" TQ4_API uint32_t Close_Cam(TQ4_HANDLE* ph) {
    return guarded("Close_Cam", [&]() -> uint32_t {
        std::lock_guard<std::mutex> lock(openCloseLock());
        Lookup found = lookUp("Close_Cam", ph ? *ph : nullptr, Access::Checked, kCloseTexts);
        if (found.code != ZEVO_NOERROR) return found.code;
        *ph = found.device->close();
        finishClose(std::move(found.device));
        return ZEVO_NOERROR;
    });
}

extern "C" TQ4_API uint32_t Check_Device_Availability(uint32_t num) {
    return guarded("Check_Device_Availability", [&]() -> uint32_t {
        if (num == 0xFFFFFFFFu) {
            // No limit is compared; the number is printed on both sides.
            TQ4_LOG(log::kError, nullptr, "Check_Device_Availability: failed. num too high: %d < %d",
                    static_cast<int>(num), static_cast<int>(num));
            return ZEVO_ERROR_DRIVER_WRONGVALUE;
        }
        DevicePtr device = Driver::instance()->getDevice(static_cast<int32_t>(num));
        if (!device) {
            TQ4_LOG(log::kError, nullptr,
                    "Check_Device_Availability: failed, because HANDLE is not available in driver.");
            return ZEVO_ERROR_DRIVER_NODRIVER;
        }
        const int32_t status = device->getAccessStatus();
        const char* text = "Check_Device_Availability: Access status: %d (GenTL::DEVICE_ACCESS_STATUS)";
        TQ4_LOG(log::kVerbose, device->handle(), text, status);
        if (tq4::driver::isUsableAccessStatus(status)) return ZEVO_NOERROR;
        TQ4_LOG(log::kError, device->handle(), text, status);
        return ZEVO_ERROR_DRIVER_NOACCESS;
    });
}

// ================================================================================================
// Command channel and settings
// ================================================================================================

extern "C" TQ4_API uint32_t Control_Command(TQ4_HANDLE h, const void* telegram, int32_t size_in, void* response,
                                            uint32_t size_out) {
    return withDevice("Control_Command", h, Access::Checked, [&](tq4::gentl::Device& device) {
        const uint32_t frame = checkTelegramFrame(h, telegram, size_in, response, size_out);
        if (frame != ZEVO_NOERROR) return frame;
        return ZEVO_TELEGRAM::callTeleJumpFnc(device, telegram, size_in, response, size_out);
    });
}

extern "C" TQ4_API uint32_t Set_Timeouts(TQ4_HANDLE h, const uint32_t* timeouts, uint32_t length) {
    return withDevice("Set_Timeouts", h, Access::Checked, [&](tq4::gentl::Device& device) {
        // Only the second entry (the image time-out) is used; a shorter array changes nothing.
        if (length < kTimeoutsWithImageTimeout) return ZEVO_NOERROR;
        if (!timeouts)
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Set_Timeouts", "failed, because timeouts is nullptr.");
        device.setImageTimeout(timeouts[1]);
        return ZEVO_NOERROR;
    });
}

extern "C" TQ4_API uint32_t Get_Generation_Count(TQ4_HANDLE h, uint32_t* count) {
    return withDevice("Get_Generation_Count", h, Access::Checked, [&](tq4::gentl::Device& device) {
        if (!count)
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Get_Generation_Count", "failed, because count is nullptr.");
        *count = device.openCount();
        return ZEVO_NOERROR;
    });
}

// The transfer-parameter calls skip the access check on purpose: they answer for any camera
// the registry knows, also one that another process holds.
extern "C" TQ4_API uint32_t Get_Transfer_Parameters(TQ4_HANDLE h, void* buffer, int32_t length) {
    return withDevice("Get_Transfer_Parameters", h, Access::Unchecked, [&](tq4::gentl::Device&) {
        if (length < 0) return refuse(ZEVO_ERROR_DRIVER_WRONGSIZE, h, "Get_Transfer_Parameters", "wrong size");
        if (length == 0) return ZEVO_NOERROR;
        if (!buffer)
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Get_Transfer_Parameters",
                          "failed, because buffer is nullptr.");
        std::memset(buffer, 0, static_cast<std::size_t>(length));
        return ZEVO_NOERROR;
    });
}

extern "C" TQ4_API uint32_t Set_Transfer_Parameters(TQ4_HANDLE h, void*, int32_t) {
    return withDevice("Set_Transfer_Parameters", h, Access::Unchecked,
                      [](tq4::gentl::Device&) { return ZEVO_NOERROR; });
}

extern "C" TQ4_API uint32_t Set_Image_Parameters(TQ4_HANDLE h, const uint32_t* params, int32_t length) {
    return withDevice("Set_Image_Parameters", h, Access::Checked, [&](tq4::gentl::Device& device) {
        // Streaming is tested first: a running stream is the more useful answer than a size.
        if (isStreaming(device))
            return refuse(ZEVO_ERROR_DRIVER_STREAMING, h, "Set_Image_Parameters",
                          "failed, because camera is streaming.");
        if (length != kImageParameterBytes)
            return refuse(ZEVO_ERROR_DRIVER_WRONGSIZE, h, "Set_Image_Parameters", "wrong size");
        if (!params)
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Set_Image_Parameters",
                          "failed, because parameters is nullptr.");
        const auto result = static_cast<uint32_t>(device.setImageParameters(params[0], params[1]));
        TQ4_LOG(log::kDetail, h, "Set_Image_Parameters: width: %d, height: %d, returned %d.",
                static_cast<int>(params[0]), static_cast<int>(params[1]), static_cast<int>(result));
        return result;
    });
}

namespace {
uint32_t doNothing() { return ZEVO_NOERROR; }
}  // namespace

extern "C" TQ4_API uint32_t Set_Image_Transfer_Mode(TQ4_HANDLE, void*, int32_t) { return doNothing(); }

extern "C" TQ4_API uint32_t Get_Image_Transfer_Mode(TQ4_HANDLE h, void* record, int32_t length) {
    return withDevice("Get_Image_Transfer_Mode", h, Access::Checked, [&](tq4::gentl::Device& device) {
        if (length != kTransferModeBytes)
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Get_Image_Transfer_Mode", "wrong size");
        if (!record)
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Get_Image_Transfer_Mode",
                          "failed, because record is nullptr.");
        fillTransferModeRecord(static_cast<uint8_t*>(record), device);
        return ZEVO_NOERROR;
    });
}

extern "C" TQ4_API uint32_t Get_Camera_Error(TQ4_HANDLE, void*, int32_t) { return doNothing(); }

// ================================================================================================
// Images
// ================================================================================================

extern "C" TQ4_API uint32_t Get_Image_Queued(TQ4_HANDLE h, uint32_t timeout_ms, uint32_t, uint32_t, uint32_t, uint32_t,
                                             void* buffer, uint32_t size) {
    return withDevice("Get_Image_Queued", h, Access::Checked, [&](tq4::gentl::Device& device) {
        if (!buffer) return refuse(ZEVO_ERROR_DRIVER_NOBUFFER, h, "Get_Image_Queued", "Wrong Handle for buf");
        StreamPtr stream = streamOf(device);
        if (!stream) return refuse(ZEVO_ERROR_DRIVER_NODRIVER, h, "Get_Image_Queued", "no DataStream.");
        // The event lives only for this call: once the stream is stopped below, nothing can set
        // it any more, and a descriptor kept per call would run the process out of them.
        const std::unique_ptr<tq4::platform::Event> done = tq4::platform::Event::create();
        if (!done) return refuse(ZEVO_ERROR_DRIVER_CREATEEVENT, h, "Get_Image_Queued", "cannot create Event");
        const uint32_t timeout = timeout_ms != 0 ? timeout_ms : device.imageTimeout();
        TQ4_LOG(log::kImageTrace, h, "Get_Image_Queued.");
        const uint16_t recording = stream->recordingState();
        if (recording == 0) stream->setRecordingState(1);
        uint32_t status = ZEVO_BUFFER_QUEUED;
        device.setImageBuffer(done->nativeHandle(), buffer, size, &status);
        const bool signalled = done->wait(timeout);
        // After the stop the thread has ended: the status word is final and read safely.
        stream->stopStreaming();
        if (recording == 0) stream->setRecordingState(0);
        // A time-out is not an error: the caller sees 0 and an image buffer left as it was.
        return signalled && status != ZEVO_BUFFER_DONE ? status : ZEVO_NOERROR;
    });
}

extern "C" TQ4_API uint32_t Set_Image_Buffer(TQ4_HANDLE h, TQ4_HANDLE event, uint32_t, uint32_t start, uint32_t end,
                                             uint32_t, void* buffer, uint32_t size, uint32_t* status) {
    return withDevice("Set_Image_Buffer", h, Access::Checked, [&](tq4::gentl::Device& device) {
        // Only an open event of this process is ever set: a descriptor number that was closed
        // (and maybe reused by a file) is refused like a null event.
        if (!event || !tq4::platform::isEventHandle(eventHandleOf(event)))
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Set_Image_Buffer", "Wrong Handle for hEvent");
        if (!buffer) return refuse(ZEVO_ERROR_DRIVER_NOBUFFER, h, "Set_Image_Buffer", "Wrong Handle for buf");
        // There is no image memory in the camera to read back from: only live streaming.
        if (start != 0 && start != end)
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Set_Image_Buffer",
                          "Wrong values just streaming. start == end == 0");
        if (!status) return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Set_Image_Buffer", "Wrong pointer for status");
        return device.setImageBuffer(eventHandleOf(event), buffer, size, status);
    });
}

extern "C" TQ4_API uint32_t Cancel_Images(TQ4_HANDLE h) {
    return withDevice("Cancel_Images", h, Access::Checked, [&](tq4::gentl::Device& device) {
        if (StreamPtr stream = streamOf(device)) stream->stopStreaming();
        return ZEVO_NOERROR;
    });
}

extern "C" TQ4_API uint32_t Get_Pending_Buffer(TQ4_HANDLE h, uint32_t* count) {
    return withDevice("Get_Pending_Buffer", h, Access::Checked, [&](tq4::gentl::Device& device) {
        if (!count)
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Get_Pending_Buffer", "failed, because count is nullptr.");
        StreamPtr stream = streamOf(device);
        *count = stream ? static_cast<uint32_t>(stream->pendingCount()) : 0;
        return ZEVO_NOERROR;
    });
}

// ================================================================================================
// Features by name
// ================================================================================================

namespace {

// The device's node map, or null (a refusal logged) when it has none.
std::shared_ptr<tq4::features::NodeMap> featureMapOf(tq4::gentl::Device& device, TQ4_HANDLE h, const char* exportName) {
    std::shared_ptr<tq4::features::NodeMap> map = device.nodeMap();
    if (!map) TQ4_LOG(log::kError, h, "%s: the camera has no node map.", exportName);
    return map;
}

uint32_t refuseFeature(uint32_t code, TQ4_HANDLE h, const char* exportName, const char* name, const char* why) {
    TQ4_LOG(log::kError, h, "%s: <%s> %s", exportName, name, why);
    return code;
}

uint32_t copyFeatureText(const std::string& text, char* value, uint32_t* size) {
    const std::size_t needed = text.size() + 1;
    const uint32_t capacity = *size;
    *size = static_cast<uint32_t>(needed);
    if (!value) return ZEVO_NOERROR;
    if (needed > capacity) return ZEVO_ERROR_DRIVER_WRONGSIZE;
    std::memcpy(value, text.c_str(), needed);
    return ZEVO_NOERROR;
}

}  // namespace

extern "C" TQ4_API uint32_t Get_Feature(TQ4_HANDLE h, const char* name, char* value, uint32_t* size, uint32_t* kind) {
    return withDevice("Get_Feature", h, Access::Checked, [&](tq4::gentl::Device& device) {
        if (!name || !size)
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Get_Feature", "failed, because name or size is nullptr.");
        const auto map = featureMapOf(device, h, "Get_Feature");
        if (!map) return ZEVO_ERROR_DRIVER_NODRIVER;
        const tq4::features::FeatureText feature = tq4::features::readFeatureText(*map, name);
        if (!feature.found) return refuseFeature(ZEVO_ERROR_FEATURE_NOTFOUND, h, "Get_Feature", name, "not found.");
        if (kind) *kind = static_cast<uint32_t>(feature.type);
        const bool valueless =
            feature.type == tq4::features::intfICommand || feature.type == tq4::features::intfICategory;
        if (!valueless && !tq4::features::IsReadable(feature.access))
            return refuseFeature(ZEVO_ERROR_FEATURE_ACCESS, h, "Get_Feature", name, "not readable.");
        return copyFeatureText(feature.value, value, size);
    });
}

extern "C" TQ4_API uint32_t Set_Feature(TQ4_HANDLE h, const char* name, const char* value) {
    return withDevice("Set_Feature", h, Access::Checked, [&](tq4::gentl::Device& device) {
        if (!name || !value)
            return refuse(ZEVO_ERROR_DRIVER_WRONGVALUE, h, "Set_Feature", "failed, because name or value is nullptr.");
        const auto map = featureMapOf(device, h, "Set_Feature");
        if (!map) return ZEVO_ERROR_DRIVER_NODRIVER;
        TQ4_LOG(log::kDetail, h, "Set_Feature: <%s> = <%s>", name, value);
        switch (tq4::features::writeFeatureText(*map, name, value)) {
            case tq4::features::WriteOutcome::Done: return ZEVO_NOERROR;
            case tq4::features::WriteOutcome::Absent:
                return refuseFeature(ZEVO_ERROR_FEATURE_NOTFOUND, h, "Set_Feature", name, "not found.");
            case tq4::features::WriteOutcome::NotWritable:
                return refuseFeature(ZEVO_ERROR_FEATURE_ACCESS, h, "Set_Feature", name, "not writable.");
            case tq4::features::WriteOutcome::Refused: break;
        }
        return refuseFeature(ZEVO_ERROR_FEATURE_VALUE, h, "Set_Feature", name, "does not take the value.");
    });
}

// ================================================================================================
// Versions
// ================================================================================================

extern "C" TQ4_API uint32_t ZEVO_GetVersionTQ4_Genicam(uint32_t* v1, uint32_t* v2, uint32_t* v3, uint32_t* v4) {
    writeVersion(v1, v2, v3, v4);
    return ZEVO_NOERROR;
}

extern "C" TQ4_API uint32_t ZEVO_GetVersion_genicam(uint32_t* v1, uint32_t* v2, uint32_t* v3, uint32_t* v4) {
    writeVersion(v1, v2, v3, v4);
    return ZEVO_NOERROR;
}
