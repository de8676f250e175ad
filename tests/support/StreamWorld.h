// The image side of the driver as a camera SDK uses it: telegrams that arm the camera and
// switch recording on, caller buffers with their own events queued through Set_Image_Buffer,
// and the camera's frame counter read back from the delivered images.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/Platform.h"
#include "support/DriverWorld.h"

namespace tq4::test {

// One caller buffer: image memory, status word and event, as a caller keeps them.
struct CallerBuffer {
    explicit CallerBuffer(std::size_t bytes, uint8_t fill = 0xAB)
        : image(bytes, fill), event(platform::Event::create()) {}

    TQ4_HANDLE eventHandle() const { return reinterpret_cast<TQ4_HANDLE>(event->nativeHandle()); }
    // Read as the thread that sets the event wrote it.
    uint32_t status() const { return __atomic_load_n(&statusWord, __ATOMIC_ACQUIRE); }
    // The event, then the status word read with acquire order, which orders the image before
    // the reads that follow (the event alone says so only to the kernel).
    bool waitDone(uint32_t timeoutMs = 20000) const { return event->wait(timeoutMs) && status() != ZEVO_BUFFER_QUEUED; }
    uint16_t pixel16(std::size_t index) const { return uint16_t(image[2 * index] | image[2 * index + 1] << 8); }

    std::vector<uint8_t> image;
    uint32_t statusWord = 0;
    std::unique_ptr<platform::Event> event;
};

class StreamWorld : public DriverWorld {
protected:
    // A caller buffer that lives until the cameras are closed after the test: a buffer still
    // queued when a test ends is written to by that close.
    CallerBuffer& buffer(std::size_t bytes, uint8_t fill = 0xAB) { return buffers_.emplace_back(bytes, fill); }

    // Sends a telegram with an optional u16 value at offset 4; returns the export's code.
    uint32_t command(TQ4_HANDLE h, uint16_t code, int value = -1) { return ask(h, code, value).result; }

    // Opens the camera, arms it (buffers for its current image) and switches recording on.
    TQ4_HANDLE& openRecording(uint32_t num = 0) {
        TQ4_HANDLE& h = open(num);
        EXPECT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR) << dump();
        EXPECT_EQ(command(h, SET_RECORDING_STATE, 1), ZEVO_NOERROR) << dump();
        return h;
    }

    // Width and height of the stream's image, as Get_Image_Transfer_Mode reports them.
    std::pair<uint32_t, uint32_t> imageSize(TQ4_HANDLE h) {
        uint8_t record[48] = {};
        EXPECT_EQ(Get_Image_Transfer_Mode(h, record, sizeof record), ZEVO_NOERROR);
        return {u16(record + 4), u16(record + 6)};
    }

    static uint32_t queue(TQ4_HANDLE h, CallerBuffer& buffer, uint32_t bytes) {
        return Set_Image_Buffer(h, buffer.eventHandle(), 0, 0, 0, 0, buffer.image.data(), bytes, &buffer.statusWord);
    }
    static uint32_t queue(TQ4_HANDLE h, CallerBuffer& buffer) {
        return queue(h, buffer, uint32_t(buffer.image.size()));
    }

    // The camera's own binary stamp: its frame id as eight BCD digits in the first four
    // pixels, each shifted to the top of `bits` data bits.
    static uint64_t cameraFrameId(const CallerBuffer& buffer, unsigned bytesPerPixel, unsigned bits) {
        uint64_t id = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            const unsigned raw = bytesPerPixel == 1 ? buffer.image[i] : buffer.pixel16(i);
            const unsigned bcd = (raw >> (bits - 8)) & 0xFF;
            id = id * 100 + (bcd >> 4) * 10 + (bcd & 0xF);
        }
        return id;
    }

    // Waits until a message containing `part` was logged.
    bool waitForLine(const std::string& part, int timeoutMs = 10000) {
        for (int waited = 0; waited < timeoutMs; waited += 5) {
            if (count(part) > 0) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }
    // Gives a thread that was just seen starting time to reach its wait.
    static void settle() { std::this_thread::sleep_for(std::chrono::milliseconds(100)); }

    uint32_t pending(TQ4_HANDLE h) {
        uint32_t count = 0xFFFFFFFF;
        EXPECT_EQ(Get_Pending_Buffer(h, &count), ZEVO_NOERROR);
        return count;
    }

private:
    std::deque<CallerBuffer> buffers_;
};

}  // namespace tq4::test
