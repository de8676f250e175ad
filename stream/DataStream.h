// The GenTL data stream of one opened device. For now the stream record that the device opens
// and closes, with the state the telegram commands read and write; buffer handling, arming and
// acquisition are added by the streaming work.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "gentl/GenTL.h"

namespace tq4::features {
class NodeMap;
}
namespace tq4::gentl {
class GenTLModule;
}

namespace tq4::stream {

class DataStream {
public:
    // Takes over a stream handle opened with DevOpenDataStream; the destructor closes it.
    DataStream(std::shared_ptr<gentl::GenTLModule> module, GenTL::DS_HANDLE hDS, std::string id,
               std::shared_ptr<features::NodeMap> nodeMap);
    ~DataStream();
    DataStream(const DataStream&) = delete;
    DataStream& operator=(const DataStream&) = delete;

    const std::string& id() const { return id_; }
    GenTL::DS_HANDLE handle() const { return hDS_; }

    // Recording state (0 = off). Stored only for now.
    uint16_t recordingState() const { return recordingState_.load(); }
    void setRecordingState(uint16_t state);
    bool isArmed() const { return armed_.load(); }
    void setArmed(bool armed) { armed_ = armed; }
    bool isStreaming() const { return streaming_.load() != 0; }

    // Bits per pixel from PixelSize when readable, else the last run of digits of the
    // PixelFormat symbol; stored and returned.
    uint32_t setBitsPerPixel();
    uint32_t bitsPerPixel() const { return bitsPerPixel_.load(); }
    // 0 = MSB, 1 = LSB aligned copies.
    uint16_t bitAlignment() const { return bitAlignment_.load(); }
    void setBitAlignment(uint16_t alignment) { bitAlignment_ = alignment; }
    // 0 to 3: none, binary, both, readable time stamp.
    uint16_t timestampMode() const { return timestampMode_.load(); }
    void setTimestampMode(uint16_t mode) { timestampMode_ = mode; }

    int64_t width() const { return width_.load(); }
    int64_t height() const { return height_.load(); }
    // Stores the requested image size; buffer announcement follows with the streaming work.
    uint32_t setImageSizes(int64_t width, int64_t height);
    // From the stream when it defines the payload size, else the PayloadSize feature; the
    // stored value while streaming. 0 when nothing can be read.
    uint64_t getPayloadSize();

private:
    bool streamDefinesPayloadSize();

    std::shared_ptr<gentl::GenTLModule> module_;
    GenTL::DS_HANDLE hDS_;
    std::string id_;
    std::shared_ptr<features::NodeMap> nodeMap_;
    std::atomic<uint8_t> streaming_{0};
    std::atomic<uint64_t> payloadSize_{0};
    std::atomic<uint32_t> bitsPerPixel_{0};
    std::atomic<int64_t> width_{0};
    std::atomic<int64_t> height_{0};
    std::atomic<uint16_t> recordingState_{0};
    std::atomic<bool> armed_{false};
    std::atomic<uint16_t> bitAlignment_{1};
    std::atomic<uint16_t> timestampMode_{0};
    std::mutex mutex_;  // the stream lock
};

}  // namespace tq4::stream
