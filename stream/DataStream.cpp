#include "stream/DataStream.h"

#include <regex>

#include "features/Features.h"
#include "features/NodeMap.h"
#include "gentl/GenTLCall.h"
#include "gentl/GenTLModule.h"
#include "log/Log.h"

namespace tq4::stream {

using gentl::callGenTL;

DataStream::DataStream(std::shared_ptr<gentl::GenTLModule> module, GenTL::DS_HANDLE hDS, std::string id,
                       std::shared_ptr<features::NodeMap> nodeMap)
    : module_(std::move(module)), hDS_(hDS), id_(std::move(id)), nodeMap_(std::move(nodeMap)) {}

DataStream::~DataStream() {
    if (callGenTL(module_->fn().DSClose, hDS_) != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "DataStream::~DataStream: DSClose with device ID <%s> failed.", id_.c_str());
    TQ4_LOG(log::kProgress, nullptr, "DataStream::~DataStream: Closed DataStream with ID <%s>", id_.c_str());
}

void DataStream::setRecordingState(uint16_t state) { recordingState_ = state; }

uint32_t DataStream::setBitsPerPixel() {
    uint64_t bits = 0;
    std::string source;
    if (nodeMap_ && features::isFeatureReadable(*nodeMap_, "PixelSize")) {
        source = "IInteger \"PixelSize\"";
        bits = static_cast<uint64_t>(features::getInteger(*nodeMap_, "PixelSize"));
    } else {
        source = "text extract bpp from \"PixelFormat\"";
        const std::string symbol = nodeMap_ ? features::getEnum(*nodeMap_, "PixelFormat") : std::string();
        // The last run of digits of the symbol: "Mono12" gives 12, "BayerRG10p" gives 10.
        static const std::regex lastDigits("[^0-9]*([0-9]+)(?!.*[0-9])");
        std::smatch match;
        try {
            std::regex_search(symbol, match, lastDigits);
            bits = std::stoull(match.size() > 1 ? match[1].str() : std::string());
        } catch (const std::exception& e) {
            TQ4_LOG(log::kError, nullptr, "DataStream::setBitsPerPixel: stoull exception: %s", e.what());
        }
    }
    bitsPerPixel_ = static_cast<uint32_t>(bits);
    TQ4_LOG(log::kProgress, nullptr, "DataStream::setBitsPerPixel: %s : %d", source.c_str(), static_cast<int>(bits));
    return bitsPerPixel_;
}

uint32_t DataStream::setImageSizes(int64_t width, int64_t height) {
    std::lock_guard<std::mutex> lock(mutex_);
    width_ = width;
    height_ = height;
    return 0;
}

bool DataStream::streamDefinesPayloadSize() {
    GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
    GenTL::bool8_t defines = false;
    std::size_t size = sizeof(defines);
    const GenTL::GC_ERROR status =
        callGenTL(module_->fn().DSGetInfo, hDS_, GenTL::STREAM_INFO_DEFINES_PAYLOADSIZE, &type, &defines, &size);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "DataStream::getPayloadSize: DSGetInfo(STREAM_INFO_DEFINES_PAYLOADSIZE) failed: %d",
                status);
        return false;
    }
    return defines;
}

uint64_t DataStream::getPayloadSize() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (isStreaming()) return payloadSize_;
    uint64_t payload = 0;
    if (streamDefinesPayloadSize()) {
        GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
        std::size_t value = 0;
        std::size_t size = sizeof(value);
        const GenTL::GC_ERROR status =
            callGenTL(module_->fn().DSGetInfo, hDS_, GenTL::STREAM_INFO_PAYLOAD_SIZE, &type, &value, &size);
        if (status != GenTL::GC_ERR_SUCCESS)
            TQ4_LOG(log::kError, nullptr, "DataStream::getPayloadSize: DSGetInfo(STREAM_INFO_PAYLOAD_SIZE) failed: %d", status);
        else
            payload = value;
    } else if (nodeMap_) {
        payload = static_cast<uint64_t>(features::getInteger(*nodeMap_, "PayloadSize"));
    }
    return payload;
}

}  // namespace tq4::stream
