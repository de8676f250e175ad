// One caller buffer as a caller of Set_Image_Buffer keeps it: image memory, status word and
// event. The tests and the benchmarks queue the same buffers.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/Platform.h"
#include "tq4_genicam.h"

namespace tq4::test {

struct CallerBuffer {
    explicit CallerBuffer(std::size_t bytes, uint8_t fill = 0xAB)
        : image(bytes, fill), event(platform::Event::create()) {}

    TQ4_HANDLE eventHandle() const { return reinterpret_cast<TQ4_HANDLE>(event->nativeHandle()); }
    // The first `bytes` bytes queued through `setImageBuffer` (the export, or the one a program
    // resolved from the loaded library).
    uint32_t queue(decltype(&Set_Image_Buffer) setImageBuffer, TQ4_HANDLE h, uint32_t bytes) {
        return setImageBuffer(h, eventHandle(), 0, 0, 0, 0, image.data(), bytes, &statusWord);
    }
    // Read as the thread that sets the event wrote it.
    uint32_t status() const { return __atomic_load_n(&statusWord, __ATOMIC_ACQUIRE); }
    // The event, then the status word read with acquire order, which orders the image before
    // the reads that follow (the event alone says so only to the kernel).
    bool waitDone(uint32_t timeoutMs = 20000) const { return event->wait(timeoutMs) && status() != ZEVO_BUFFER_QUEUED; }
    uint16_t pixel16(std::size_t index) const { return uint16_t(image[2 * index] | image[2 * index + 1] << 8); }
    // The camera's own binary stamp: its frame id as eight BCD digits in the first four pixels,
    // each shifted to the top of `bits` data bits.
    uint64_t cameraFrameId(unsigned bytesPerPixel, unsigned bits) const {
        uint64_t id = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            const unsigned bcd = ((bytesPerPixel == 1 ? image[i] : pixel16(i)) >> (bits - 8)) & 0xFF;
            id = id * 100 + (bcd >> 4) * 10 + (bcd & 0xF);
        }
        return id;
    }

    std::vector<uint8_t> image;
    uint32_t statusWord = 0;
    std::unique_ptr<platform::Event> event;
};

}  // namespace tq4::test
