// libFuzzer target: Control_Command and the image exports on an opened simulated camera, in
// the order and with the arguments the input gives.
//
// Input: a sequence of records, each an action byte and its arguments (a cut-off record ends
// the input):
//   0  Control_Command: size_out (2 bytes, little-endian, modulo 600 so that refused sizes occur
//      too), size_in shortening (1), telegram length n (1), n telegram bytes
//   1  Set_Image_Buffer: size (3 bytes, modulo one image and a bit more), start (1), end (1),
//      event (1: the caller's own, none, or a number that is no event)
//   2  Cancel_Images
//   3  Get_Pending_Buffer
//   4  Set_Image_Parameters: length (1), 16 parameter bytes
//   5  Get_Image_Queued: time-out (1, modulo 32 ms), size (3)
// Telegrams, responses and image buffers are heap blocks of exactly the size the caller hands
// over, so the address sanitizer reports any access outside them. After the last record every
// buffer is cancelled before its memory, status word and event go.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "platform/Platform.h"
#include "tq4_genicam.h"

namespace {

TQ4_HANDLE gCamera = nullptr;

// Starts the download tool and waits for camera frames: far too slow for fuzzing, and covered
// by its own tests.
constexpr uint16_t kSkippedCode = SWIR_GENERATE_CORRECTION_DATA;

constexpr uint32_t kSizeOutRange = 600;
constexpr uint32_t kImageRange = 1296 * 1032 * 2 + 64;
constexpr std::size_t kMaxQueued = 8;

enum Action { kTelegram, kQueue, kCancel, kPending, kParameters, kQueued, kActions };

// The caller's side of one queued buffer.
struct Queued {
    std::unique_ptr<uint8_t[]> image;
    std::unique_ptr<uint32_t> status;
    std::unique_ptr<tq4::platform::Event> event;
};

class Reader {
public:
    Reader(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    bool has(std::size_t n) const { return size_ - used_ >= n; }
    uint32_t number(std::size_t bytes) {
        uint32_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i) value |= uint32_t(data_[used_++]) << (8 * i);
        return value;
    }
    const uint8_t* take(std::size_t n) {
        const uint8_t* p = data_ + used_;
        used_ += n;
        return p;
    }

private:
    const uint8_t* data_;
    std::size_t size_;
    std::size_t used_ = 0;
};

void sendTelegram(Reader& in) {
    if (!in.has(4)) return;
    const uint32_t sizeOut = in.number(2) % kSizeOutRange;
    const uint32_t shortenBy = in.number(1);
    const std::size_t length = in.number(1);
    if (!in.has(length)) return;
    const uint8_t* bytes = in.take(length);
    const std::size_t sizeIn = length - std::min<std::size_t>(shortenBy, length);
    if (sizeIn >= 2 && (bytes[0] | (bytes[1] << 8)) == kSkippedCode) return;
    std::unique_ptr<uint8_t[]> telegram(new uint8_t[sizeIn ? sizeIn : 1]);
    std::memcpy(telegram.get(), bytes, sizeIn);
    std::unique_ptr<uint8_t[]> response(new uint8_t[sizeOut ? sizeOut : 1]);
    Control_Command(gCamera, telegram.get(), static_cast<int32_t>(sizeIn), response.get(), sizeOut);
}

void queueBuffer(Reader& in, std::vector<Queued>& queued) {
    if (!in.has(6) || queued.size() >= kMaxQueued) return;
    const uint32_t size = in.number(3) % kImageRange;
    const uint32_t start = in.number(1);
    const uint32_t end = in.number(1);
    const uint32_t eventChoice = in.number(1) % 3;
    Queued q{std::unique_ptr<uint8_t[]>(new uint8_t[size ? size : 1]), std::make_unique<uint32_t>(0),
             tq4::platform::Event::create()};
    TQ4_HANDLE event = eventChoice == 0   ? reinterpret_cast<TQ4_HANDLE>(q.event->nativeHandle())
                       : eventChoice == 1 ? nullptr
                                          : reinterpret_cast<TQ4_HANDLE>(uintptr_t(0x7FFF1234));
    Set_Image_Buffer(gCamera, event, 0, start, end, 0, q.image.get(), size, q.status.get());
    queued.push_back(std::move(q));
}

void setParameters(Reader& in) {
    if (!in.has(17)) return;
    const int32_t length = static_cast<int32_t>(in.number(1) % 20);
    uint32_t params[4];
    std::memcpy(params, in.take(16), sizeof params);
    Set_Image_Parameters(gCamera, params, length);
}

void imageQueued(Reader& in) {
    if (!in.has(4)) return;
    const uint32_t timeout = 1 + in.number(1) % 32;
    const uint32_t size = in.number(3) % kImageRange;
    std::unique_ptr<uint8_t[]> image(new uint8_t[size ? size : 1]);
    Get_Image_Queued(gCamera, timeout, 0, 0, 0, 0, image.get(), size);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const auto folder = std::filesystem::temp_directory_path() / "tq4_control_command_fuzz";
    std::filesystem::create_directories(folder);
    const auto simConfig = folder / "sim.cfg";
    std::ofstream(simConfig) << "unlimited_frame_rate = 1\n";
    setenv("TQ4_COMMON_APPDATA", folder.c_str(), 1);
    setenv("GENICAM_GENTL64_PATH", TQ4_SIM_DIR, 1);
    setenv("TQ4_QUESTION_ANSWER", "no", 1);
    setenv("ZEVO_SIM_CONFIG", simConfig.c_str(), 1);
    if (Open_Cam(0, &gCamera) != ZEVO_NOERROR) std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Reader in(data, size);
    std::vector<Queued> queued;
    while (in.has(1)) {
        switch (in.number(1) % kActions) {
            case kTelegram: sendTelegram(in); break;
            case kQueue: queueBuffer(in, queued); break;
            case kCancel: Cancel_Images(gCamera); break;
            case kPending: {
                uint32_t count = 0;
                Get_Pending_Buffer(gCamera, &count);
                break;
            }
            case kParameters: setParameters(in); break;
            default: imageQueued(in); break;
        }
    }
    Cancel_Images(gCamera);
    return 0;
}
