// The second process of the multi-process test: loads the driver library, opens its own
// simulated camera and streams `images` images into a ring of buffers, while it logs `lines`
// numbered error lines (telegrams with the size_in -(tag * 1000000 + i), which the driver
// logs as wrong). Exit status 0 when every image came back done.
//   reliability_process_helper TAG IMAGES LINES
#include <cstdlib>
#include <memory>
#include <vector>

#include "platform/Platform.h"
#include "tq4_genicam.h"

namespace {

constexpr uint32_t kImageBytes = 1296 * 1032 * 2;
constexpr int kRing = 4;

struct Buffer {
    std::vector<uint8_t> image = std::vector<uint8_t>(kImageBytes);
    uint32_t status = 0;
    std::unique_ptr<tq4::platform::Event> event = tq4::platform::Event::create();
};

uint32_t command(TQ4_HANDLE h, uint8_t low, uint8_t high, int value) {
    uint8_t request[7] = {low, high, uint8_t(value < 0 ? 5 : 7), 0, uint8_t(value), 0, 0};
    const int size = request[2];
    uint8_t sum = 0;
    for (int i = 0; i < size - 1; ++i) sum = uint8_t(sum + request[i]);
    request[size - 1] = sum;
    uint8_t response[64];
    return Control_Command(h, request, size, response, sizeof response);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) return 2;
    const int tag = std::atoi(argv[1]);
    const int images = std::atoi(argv[2]);
    const int lines = std::atoi(argv[3]);
    TQ4_HANDLE h = nullptr;
    if (Open_Cam(0, &h) != ZEVO_NOERROR) return 3;
    if (command(h, ARM_CAMERA & 0xFF, ARM_CAMERA >> 8, -1) != ZEVO_NOERROR ||
        command(h, SET_RECORDING_STATE & 0xFF, SET_RECORDING_STATE >> 8, 1) != ZEVO_NOERROR)
        return 4;
    std::vector<Buffer> ring(kRing);
    const auto queue = [&](Buffer& b) {
        return Set_Image_Buffer(h, reinterpret_cast<TQ4_HANDLE>(b.event->nativeHandle()), 0, 0, 0, 0, b.image.data(),
                                kImageBytes, &b.status);
    };
    for (Buffer& b : ring) queue(b);
    int done = 0;
    int logged = 0;
    bool failed = false;
    while (done < images || logged < lines) {
        uint8_t response[8];
        if (logged < lines) Control_Command(h, response, -(tag * 1000000 + logged++), response, sizeof response);
        if (done >= images) continue;
        Buffer& b = ring[done % kRing];
        if (!b.event->wait(logged < lines ? 0 : 10000)) continue;
        failed = failed || b.status != ZEVO_BUFFER_DONE;
        ++done;
        queue(b);
    }
    Cancel_Images(h);
    Close_Cam(&h);
    return failed ? 1 : 0;
}
