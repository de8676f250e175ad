// Aravis' fake GigE Vision camera, started once per test program on 127.0.0.1, so that every
// exchange goes over real GVCP/GVSP UDP on the loopback interface. The frame period is set to
// 5 ms (200 frames per second); before each use the acquisition is stopped and the image is
// 256 x 128 Mono8: small frames leave room for many in a socket buffer, so that the loopback
// loses no packet even on a busy machine.
#pragma once

#include <arv.h>

#include <cstdint>
#include <string>
#include <utility>

namespace tq4::test {

class FakeCamera {
public:
    static constexpr const char* kDeviceId = "Aravis-Fake-GV01";
    static constexpr uint32_t kWidth = 256, kHeight = 128;
    static constexpr uint64_t kAcquisitionRegister = 0x124;  // 1 starts, 0 stops
    static constexpr uint64_t kFramePeriodRegister = 0x138;  // microseconds

    static ArvFakeCamera* get() {
        static ArvGvFakeCamera* camera = arv_gv_fake_camera_new("127.0.0.1", "GV01");
        ArvFakeCamera* fake = arv_gv_fake_camera_get_fake_camera(camera);
        const std::pair<uint32_t, uint32_t> defaults[] = {{kFramePeriodRegister, 5000},
                                                          {kAcquisitionRegister, 0},
                                                          {0x100, kWidth},
                                                          {0x104, kHeight},
                                                          {0x130, 0},
                                                          {0x134, 0},
                                                          {0x128, 0x01080001}};  // offsets, Mono8
        for (const auto& [address, value] : defaults) arv_fake_camera_write_register(fake, address, value);
        return fake;
    }

    // The fake camera's test pattern: a diagonal ramp that moves on by one each frame, so that
    // every pixel is the first pixel plus x + y (modulo 255). Answers the first pixel that
    // breaks it as "x,y", or nothing.
    static std::string rampBreak(const uint8_t* image, uint32_t width, uint32_t height) {
        for (uint32_t y = 0; y < height; ++y)
            for (uint32_t x = 0; x < width; ++x)
                if (image[size_t(y) * width + x] != uint8_t((image[0] + x + y) % 255))
                    return std::to_string(x) + "," + std::to_string(y);
        return {};
    }
};

}  // namespace tq4::test
