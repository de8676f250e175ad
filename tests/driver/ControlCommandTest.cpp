// Control_Command's own checks before a telegram reaches the dispatcher, and the promise that
// nothing is written beyond size_out whatever the command.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "support/DriverWorld.h"

namespace tq4::test {
namespace {

class ControlCommandTest : public DriverWorld {
protected:
    // Sends `request` and reports whether the 0xEE-filled response buffer was left untouched.
    uint32_t send(TQ4_HANDLE h, const std::vector<uint8_t>& request, int32_t sizeIn, uint32_t sizeOut,
                  bool* untouched = nullptr) {
        std::vector<uint8_t> response(600, 0xEE);
        const uint32_t result = Control_Command(h, request.data(), sizeIn, response.data(), sizeOut);
        if (untouched) *untouched = std::all_of(response.begin(), response.end(), [](uint8_t b) { return b == 0xEE; });
        last_ = response;
        return result;
    }
    std::vector<uint8_t> last_;
};

TEST_F(ControlCommandTest, SizeInMustLieBetween5And511) {
    TQ4_HANDLE& h = open();
    const auto request = telegram(GET_CAMERA_TYPE);
    bool untouched = false;
    for (int32_t refused : {4, 512, -1, INT32_MIN}) {
        EXPECT_EQ(send(h, request, refused, 512, &untouched), ZEVO_ERROR_DRIVER_WRONGVALUE) << refused;
        EXPECT_TRUE(untouched) << refused;
        EXPECT_TRUE(logged("Control_Command: wrong value size_in " + std::to_string(refused), log::kError));
    }
    for (int32_t accepted : {5, 511}) {
        EXPECT_EQ(send(h, request, accepted, 512), ZEVO_NOERROR) << accepted;
        EXPECT_EQ(u16(last_.data()), GET_CAMERA_TYPE | TQ4_RESPONSE_FLAG);
        EXPECT_EQ(u16(last_.data() + 2), 23);
    }
}

TEST_F(ControlCommandTest, CodeAndTelegramSizeAreChecked) {
    TQ4_HANDLE& h = open();
    bool untouched = false;
    EXPECT_EQ(send(h, telegram(0x0000), 5, 512, &untouched), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(untouched);
    EXPECT_TRUE(logged("Control_Command: wrong value command in 0", log::kError));

    // The log names the command code (0x0610 = 1552), not the size that was wrong.
    for (uint16_t size : {4, 512, 9}) {
        auto request = telegram(GET_TEMPERATURE, 5);
        request[2] = uint8_t(size);
        request[3] = uint8_t(size >> 8);
        EXPECT_EQ(send(h, request, 8, 512, &untouched), ZEVO_ERROR_DRIVER_WRONGVALUE) << size;
        EXPECT_TRUE(untouched) << size;
    }
    EXPECT_EQ(count("Control_Command: wrong value command size in 1552"), 3);
}

TEST_F(ControlCommandTest, SizeOutMustLieBetween5And512) {
    TQ4_HANDLE& h = open();
    const auto request = telegram(GET_CAMERA_TYPE);
    bool untouched = false;
    for (uint32_t refused : {4u, 513u, 0u, 0xFFFFFFFFu}) {
        EXPECT_EQ(send(h, request, 5, refused, &untouched), ZEVO_ERROR_DRIVER_WRONGVALUE) << refused;
        EXPECT_TRUE(untouched) << refused;
    }
    EXPECT_TRUE(logged("Control_Command: wrong value size_out 513", log::kError));
    EXPECT_TRUE(logged("Control_Command: wrong value size_out -1", log::kError));

    EXPECT_EQ(send(h, request, 5, 512), ZEVO_NOERROR);
    EXPECT_EQ(send(h, request, 5, 5), ZEVO_NOERROR) << "a short buffer gets the response cut";
    EXPECT_EQ(u16(last_.data()), GET_CAMERA_TYPE | TQ4_RESPONSE_FLAG);
    EXPECT_EQ(last_[5], 0xEE);
}

TEST_F(ControlCommandTest, NullTelegramOrResponseIsRefused) {
    TQ4_HANDLE& h = open();
    uint8_t response[16];
    EXPECT_EQ(Control_Command(h, nullptr, 5, response, sizeof response), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(logged("Control_Command: failed, because telegram is nullptr.", log::kError));
    const auto request = telegram(GET_CAMERA_TYPE);
    EXPECT_EQ(Control_Command(h, request.data(), 5, nullptr, 16), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(logged("Control_Command: failed, because response is nullptr.", log::kError));
}

// Every command code (and a few unknown ones) with requests and response buffers of exactly
// the stated sizes, so that the address sanitizer sees any read past size_in or write past
// size_out. The correction-data command is left out: it may start the download tool.
TEST_F(ControlCommandTest, NoCommandReadsOrWritesOutsideTheCallersSizes) {
    TQ4_HANDLE& h = open();
    const uint16_t codes[] = {0x0110, 0x0210, 0x0610, 0x0710, 0x0810, 0x0910, 0x0A10, 0x1110, 0x1210, 0x0111, 0x0211,
                              0x0311, 0x0411, 0x0511, 0x0611, 0x1011, 0x1111, 0x1411, 0x1511, 0x2511, 0x2611, 0x0112,
                              0x0212, 0x0312, 0x0412, 0x0512, 0x0612, 0x0912, 0x0C12, 0x0D12, 0x1012, 0x1712, 0x1912,
                              0x1A12, 0x0514, 0x0614, 0x0714, 0x0814, 0x0A14, 0x0B14, 0x0C14, 0x0D14, 0x1614, 0x1714,
                              0x0915, 0x0A15, 0x0E15, 0x0F15, 0x0001, 0xFFFF, 0x1234};
    const uint32_t sizesOut[] = {5, 8, 9, 12, 44, 152, 206, 512};
    for (uint16_t code : codes) {
        for (uint16_t sizeIn : {5, 7, 13, 27}) {
            const auto full = telegram(code, sizeIn);
            const std::unique_ptr<uint8_t[]> request(new uint8_t[sizeIn]);
            std::memcpy(request.get(), full.data(), sizeIn);
            for (uint32_t sizeOut : sizesOut) {
                const std::unique_ptr<uint8_t[]> response(new uint8_t[sizeOut]);
                Control_Command(h, request.get(), sizeIn, response.get(), sizeOut);
            }
        }
    }
    uint32_t generation = 0;
    EXPECT_EQ(Get_Generation_Count(h, &generation), ZEVO_NOERROR) << "the camera is still there";
}

}  // namespace
}  // namespace tq4::test
