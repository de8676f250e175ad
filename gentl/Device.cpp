#include "gentl/Device.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <stdexcept>

#include "features/Features.h"
#include "features/NodeMap.h"
#include "gentl-module/GenTLCall.h"
#include "gentl-module/GenTLModule.h"
#include "gentl/Port.h"
#include "log/Log.h"
#include "platform/Platform.h"
#include "stream/DataStream.h"
#include "tq4_genicam.h"

namespace tq4::gentl {

namespace {
std::atomic<Device::Preparation> installedPreparation{nullptr};
}

void Device::setPreparation(Preparation prepare) { installedPreparation.store(prepare); }

Device::Device(std::shared_ptr<GenTLModule> module, GenTL::IF_HANDLE hIF, std::string id, std::string displayName,
               std::string version)
    : module_(std::move(module)),
      hIF_(hIF),
      id_(std::move(id)),
      displayName_(std::move(displayName)),
      version_(std::move(version)) {}

Device::~Device() {
    streams_.clear();
    if (openCount_ != 0)
        closeGenTLDevice("Device::~Device: DevClose with device ID <%s> failed.",
                         "Device::~Device: Closed device with ID <%s>");
    // Others may still hold the node map; it must not reach the port after it is gone.
    if (nodeMap_ && nodeMap_->isLoaded()) nodeMap_->destroy();
    port_.reset();
}

std::shared_ptr<features::NodeMap> Device::nodeMap() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return nodeMap_;
}

void Device::setNodeMap(std::shared_ptr<features::NodeMap> map) {
    std::lock_guard<std::mutex> lock(stateMutex_);
    nodeMap_.swap(map);
}

std::string Device::activeStreamId() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return activeStreamId_;
}

std::shared_ptr<stream::DataStream> Device::activeStream() const {
    const std::string streamId = activeStreamId();
    return streamId.empty() ? nullptr : streams_.find(streamId);
}

void* Device::open(int32_t num, const std::string& text) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (!openGenTLDevice(num)) return nullptr;
    openText_ = text;
    try {
        if (!openPort() || !buildNodeMap()) return failOpen();
        if (!setupDataStream()) {
            TQ4_LOG(log::kError, handle(), "Device::open: set up DataStream failed.");
            return failOpen();
        }
        if (streams_.size() > 1)
            TQ4_LOG(log::kProgress, handle(),
                    "Device::open: Device <%s> supports %d DataStreams ... only ID <%s> is used.", id_.c_str(),
                    static_cast<int>(streams_.size()), activeStreamId().c_str());
        applyCameraDefaults();
    } catch (...) {
        // A broken description or a failed copy reaches the caller, but never with the device
        // left open behind it.
        close();
        throw;
    }
    return handle();
}

bool Device::openGenTLDevice(int32_t num) {
    GenTL::DEV_HANDLE hDEV = nullptr;
    const GenTL::GC_ERROR status =
        callGenTL(module_->fn().IFOpenDevice, hIF_, id_.c_str(), GenTL::DEVICE_ACCESS_EXCLUSIVE, &hDEV);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr,
                "Device::open: IFOpenDevice(DEVICE_ACCESS_EXCLUSIVE) failed: %d. ID: <%s>, num: %d", status,
                id_.c_str(), num);
        return false;
    }
    if (!hDEV) {
        TQ4_LOG(log::kError, nullptr, "Device::open: IFOpenDevice returns invalid handle hDEV");
        return false;
    }
    TQ4_LOG(log::kProgress, hDEV, "Device::open: Opened Device with ID <%s>, hDEV 0x%x, num: %d", id_.c_str(),
            low32(hDEV), num);
    openCount_ = 1;
    number_ = num;
    hDEV_ = hDEV;
    return true;
}

bool Device::openPort() {
    GenTL::PORT_HANDLE hPort = nullptr;
    const GenTL::GC_ERROR status = callGenTL(module_->fn().DevGetPort, handle(), &hPort);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, handle(), "Device::open: DevGetPort failed: %d", status);
        return false;
    }
    if (!hPort) {
        TQ4_LOG(log::kError, handle(), "Device::open: DevGetPort failed: PORT_HANDLE remained invalid");
        return false;
    }
    port_ = std::make_unique<Port>(module_, hPort);
    return true;
}

bool Device::buildNodeMap() {
    std::shared_ptr<features::NodeMap> map = allocNodeMap();
    if (!map) {
        TQ4_LOG(log::kError, handle(), "Device::open: allocNodeMap failed.");
        return false;
    }
    setNodeMap(std::move(map));
    if (!nodeMap_->connect(port_.get())) {
        TQ4_LOG(log::kError, handle(), "Device::open: _Connect NodeMap failed.");
        return false;
    }
    TQ4_LOG(log::kProgress, handle(), "Device::open: Load xml and connect to port succeed.");
    return true;
}

void Device::applyCameraDefaults() {
    if (Preparation prepare = installedPreparation.load()) prepare(*this);
}

void* Device::failOpen() { return close(); }

void* Device::close() {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (openCount_ == 0) return nullptr;  // nothing left to close
    const uint32_t remaining = --openCount_;
    if (remaining != 0) {
        TQ4_LOG(log::kProgress, handle(), "Device::close: Closed 1x device ID <%s>. Is still %d times open.",
                id_.c_str(), static_cast<int>(remaining));
        return handle();
    }
    number_ = -1;
    if (nodeMap_) {
        nodeMap_->destroy();
        TQ4_LOG(log::kProgress, handle(), "Device::close: NodeMap destroyed.");
    }
    // Each stream stops once (and ends its caller buffers) while the device is still open, also
    // when an export on another thread still holds it and so delays its destruction.
    for (const auto& stream : streams_.values()) stream->close();
    streams_.clear();
    {
        std::lock_guard<std::mutex> stateLock(stateMutex_);
        activeStreamId_.clear();
    }
    closeGenTLDevice("Device::close: DevClose with device ID <%s> failed.",
                     "Device::close: Closed device with ID <%s>");
    return nullptr;
}

void Device::closeGenTLDevice(const char* failureFormat, const char* doneFormat) {
    if (callGenTL(module_->fn().DevClose, handle()) != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, handle(), failureFormat, id_.c_str());
    TQ4_LOG(log::kProgress, handle(), doneFormat, id_.c_str());
}

int32_t Device::getAccessStatus() {
    GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_INT32;
    int32_t value = -1;
    std::size_t size = sizeof(value);
    GenTL::GC_ERROR status =
        callGenTL(module_->fn().DevGetInfo, handle(), GenTL::DEVICE_INFO_ACCESS_STATUS, &type, &value, &size);
    if (status == GenTL::GC_ERR_SUCCESS && type == GenTL::INFO_DATATYPE_INT32) return value;
    TQ4_LOG(log::kError, handle(), "Device::getAccessStatus: DevGetInfo(DEVICE_INFO_ACCESS_STATUS) failed: %d", status);
    return value;
}

bool Device::setupDataStream() {
    const GenTLFunctions& fn = module_->fn();
    uint32_t count = 0;
    GenTL::GC_ERROR status = callGenTL(fn.DevGetNumDataStreams, handle(), &count);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, handle(), "Device::setupDataStream: GC failed: %d.", status);
        return false;
    }
    // The size variable is set once and each call gets the size the previous one returned:
    // producers answer with the ID's length, so a later, longer ID may not fit. Kept so.
    char buffer[kTextBufferSize + 1] = {};
    std::size_t size = kTextBufferSize;
    for (uint32_t index = 0; index < count; ++index) {
        std::fill(std::begin(buffer), std::end(buffer), '\0');
        status = callGenTL(fn.DevGetDataStreamID, handle(), index, buffer, &size);
        if (size > kTextBufferSize) size = kTextBufferSize;  // never more than the buffer holds
        if (status != GenTL::GC_ERR_SUCCESS) {
            TQ4_LOG(log::kError, handle(), "Device::setupDataStream: GC failed: %d.", status);
            continue;
        }
        const std::string streamId(buffer);
        if (streams_.contains(streamId)) continue;
        openDataStream(streamId);
    }
    if (streams_.empty()) return false;
    return streams_.contains(activeStreamId());
}

void Device::openDataStream(const std::string& streamId) {
    GenTL::DS_HANDLE hDS = nullptr;
    const GenTL::GC_ERROR status = callGenTL(module_->fn().DevOpenDataStream, handle(), streamId.c_str(), &hDS);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, handle(), "Device::setupDataStream: GC failed: %d.", status);
        return;
    }
    if (!hDS) {
        TQ4_LOG(log::kError, handle(), "Device::setupDataStream: DevOpenDataStream returns invalid handle hDEV");
        return;
    }
    streams_.put(streamId, std::make_shared<stream::DataStream>(module_, hDS, streamId, nodeMap_));
    TQ4_LOG(log::kProgress, handle(), "Device::setupDataStream: Opened DataStream with ID <%s>, hDS 0x%x",
            streamId.c_str(), low32(hDS));
    std::lock_guard<std::mutex> stateLock(stateMutex_);
    if (activeStreamId_.empty()) {
        activeStreamId_ = streamId;
        TQ4_LOG(log::kProgress, handle(), "Device::setupDataStream: Set active DataStream ID <%s>", streamId.c_str());
    }
}

uint32_t Device::getSerial() {
    std::shared_ptr<features::NodeMap> map = nodeMap();
    std::string text;
    if (map && features::isFeatureReadable(*map, "DeviceSerialNumber")) {
        text = features::getString(*map, "DeviceSerialNumber");
    } else if (map && features::isFeatureReadable(*map, "InfoSerial")) {
        text = features::getString(*map, "InfoSerial");
        if (!text.empty())
            TQ4_LOG(log::kVerbose, handle(), "Device::getSerial: instead take feature <%s>", text.c_str());
    }
    try {
        return static_cast<uint32_t>(std::stoull(text, nullptr, 10));
    } catch (const std::exception& e) {
        TQ4_LOG(log::kVerbose, handle(), "Device::getSerial: stoull exception: %s", e.what());
        TQ4_LOG(log::kProgress, handle(), "Device::getSerial: can not read serial number <%s>. set: 0", text.c_str());
        return 0;
    }
}

int32_t Device::setImageParameters(int64_t width, int64_t height) {
    std::shared_ptr<features::NodeMap> map = nodeMap();
    std::shared_ptr<stream::DataStream> stream = activeStream();
    if (!map || !stream) return static_cast<int32_t>(ZEVO_ERROR_DRIVER_NODRIVER);

    const int64_t cameraWidth = features::getInteger(*map, "Width");
    const int64_t cameraHeight = features::getInteger(*map, "Height");
    const int64_t offsetX = features::getInteger(*map, "OffsetX");
    const int64_t offsetY = features::getInteger(*map, "OffsetY");
    TQ4_LOG(log::kProgress, handle(), "Device::setImageParameters: OffsetX: %d, OffsetY: %d, Width: %d, Height %d.",
            static_cast<int>(offsetX), static_cast<int>(offsetY), static_cast<int>(cameraWidth),
            static_cast<int>(cameraHeight));
    // The camera's geometry is not changed here; the line only reports the difference.
    if (width != cameraWidth || height != cameraHeight)
        TQ4_LOG(log::kError, handle(),
                "Device::setImageParameters: setInteger Width: %d, Height: %d failed. w: %d, h: %d",
                static_cast<int>(width), static_cast<int>(height), static_cast<int>(cameraWidth),
                static_cast<int>(cameraHeight));

    const int32_t result = static_cast<int32_t>(stream->setImageSizes(cameraWidth, cameraHeight));

    const std::string pixelFormat = features::getEnum(*map, "PixelFormat");
    const uint64_t bytesPerPixel = (stream->setBitsPerPixel() + 7) / 8;
    const uint64_t payload = stream->getPayloadSize();
    if (payload != bytesPerPixel * static_cast<uint64_t>(height) * static_cast<uint64_t>(width))
        TQ4_LOG(log::kError, handle(),
                "Device::setImageParameters: Mismatch! Width: %d, Height: %d, PixelFormat: %s <---> PayloadSize: %d",
                static_cast<int>(width), static_cast<int>(height), pixelFormat.c_str(), static_cast<int>(payload));
    return result;
}

uint32_t Device::setImageBuffer(intptr_t event, void* buffer, uint32_t size, uint32_t* status) {
    std::shared_ptr<stream::DataStream> stream = activeStream();
    if (!stream) return ZEVO_ERROR_DRIVER_NODRIVER;
    *status = ZEVO_BUFFER_QUEUED;
    platform::resetEventByHandle(event);
    return stream->queueCallerBuffer(stream::ZevoBuffer{event, buffer, size, status}, handle());
}

}  // namespace tq4::gentl
