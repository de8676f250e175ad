// The second process of the multi-process test: loads the driver library, opens its own
// simulated camera and streams `images` images into a ring of buffers, while it logs `lines`
// numbered error lines (telegrams with the size_in -(tag * 1000000 + i), which the driver
// logs as wrong). Exit status 0 when every image came back done.
//   reliability_process_helper TAG IMAGES LINES
#include <cstdlib>
#include <vector>

#include "tests/support/CallerBuffer.h"
#include "tests/support/Telegrams.h"

namespace {

using tq4::test::CallerBuffer;
constexpr uint32_t kImageBytes = 1296 * 1032 * 2;
constexpr int kRing = 4;

uint32_t command(TQ4_HANDLE h, uint16_t code, int value = -1) {
    const std::vector<uint8_t> request = tq4::test::request(code, value);
    uint8_t response[64];
    return Control_Command(h, request.data(), int32_t(request.size()), response, sizeof response);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) return 2;
    const int tag = std::atoi(argv[1]);
    const int images = std::atoi(argv[2]);
    const int lines = std::atoi(argv[3]);
    TQ4_HANDLE h = nullptr;
    if (Open_Cam(0, &h) != ZEVO_NOERROR) return 3;
    if (command(h, ARM_CAMERA) != ZEVO_NOERROR || command(h, SET_RECORDING_STATE, 1) != ZEVO_NOERROR) return 4;
    std::vector<CallerBuffer> ring;
    ring.reserve(kRing);  // the driver keeps each buffer's status word address
    for (int i = 0; i < kRing; ++i) ring.emplace_back(kImageBytes, 0).queue(Set_Image_Buffer, h, kImageBytes);
    int done = 0;
    int logged = 0;
    bool failed = false;
    while (done < images || logged < lines) {
        uint8_t response[8];
        if (logged < lines) Control_Command(h, response, -(tag * 1000000 + logged++), response, sizeof response);
        if (done >= images) continue;
        CallerBuffer& b = ring[done % kRing];
        if (!b.waitDone(logged < lines ? 0 : 10000)) continue;
        failed = failed || b.status() != ZEVO_BUFFER_DONE;
        ++done;
        b.queue(Set_Image_Buffer, h, kImageBytes);
    }
    Cancel_Images(h);
    Close_Cam(&h);
    return failed ? 1 : 0;
}
