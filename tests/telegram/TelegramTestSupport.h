// Shared pieces of the telegram tests: a simulated camera opened through the transport
// classes, telegram building and reading, and a capture of the log lines.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace telegram_test {

using Bytes = std::vector<uint8_t>;

// A request telegram: code, size, payload, checksum.
Bytes telegram(uint16_t code, const Bytes& payload = {});
Bytes u16Bytes(uint16_t value);
Bytes u32Bytes(uint32_t value);

uint16_t u16At(const Bytes& b, std::size_t offset);
int16_t s16At(const Bytes& b, std::size_t offset);
uint32_t u32At(const Bytes& b, std::size_t offset);
std::string textAt(const Bytes& b, std::size_t offset, std::size_t field);
// The 8-bit sum of bytes 0 to size-2 with the flag bits taken off the code.
uint8_t checksumWithoutFlags(const Bytes& response);

struct Answer {
    uint32_t result = 0;
    Bytes bytes;  // exactly size_out bytes of the response buffer
};

// Every log line (without prefix columns) while the capture lives.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    bool contains(const std::string& text) const;
    std::string all() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

// The simulated camera with the given configuration lines (the producer's key=value file),
// opened with Open_Cam in a private application-data folder and closed by the destructor.
class SimCamera {
public:
    explicit SimCamera(const std::string& simConfig = "");
    ~SimCamera();
    bool isOpen() const { return handle_ != nullptr; }
    void* handle() const { return handle_; }

    // Through Control_Command, with a response buffer of `sizeOut` bytes prefilled with 0xEE.
    Answer send(const Bytes& request, uint32_t sizeOut = 512, int32_t sizeIn = -1);

private:
    std::string folder_;
    std::string previousDirectory_;
    void* handle_ = nullptr;
};

}  // namespace telegram_test
