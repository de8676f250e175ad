// The handle frame that every camera export runs first, and the small exports whose whole
// behaviour lies in it.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "driver/HandleExports.h"
#include "support/DriverWorld.h"

namespace tq4::test {
namespace {

class FrameTest : public DriverWorld {};

const std::string kSeparator(66, '=');

TEST_F(FrameTest, NullHandleIsRefusedByEveryCameraExport) {
    for (const HandleExport& e : handleExports()) {
        EXPECT_EQ(e.call(nullptr), ZEVO_ERROR_DRIVER_NULLHANDLE) << e.name;
        EXPECT_TRUE(logged(std::string(e.name) + ": failed, because HANDLE is nullptr.", log::kError)) << e.name;
    }
    TQ4_HANDLE h = nullptr;
    EXPECT_EQ(Close_Cam(&h), ZEVO_ERROR_DRIVER_NULLHANDLE);
    EXPECT_EQ(Close_Cam(nullptr), ZEVO_ERROR_DRIVER_NULLHANDLE);
    EXPECT_EQ(count("Close_Cam: close failed, because HANDLE is nullptr."), 2);
    EXPECT_TRUE(logged(kSeparator, log::kProgress));
}

TEST_F(FrameTest, UnknownAndClosedHandlesAreNotAvailable) {
    TQ4_HANDLE& h = open();
    TQ4_HANDLE unknown = reinterpret_cast<TQ4_HANDLE>(intptr_t(0x5a5a5a));
    for (const HandleExport& e : handleExports()) EXPECT_EQ(e.call(unknown), ZEVO_ERROR_DRIVER_NODRIVER) << e.name;

    TQ4_HANDLE closed = h;
    ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    EXPECT_EQ(h, nullptr) << "the last close hands back an empty handle";
    for (const HandleExport& e : handleExports()) {
        EXPECT_EQ(e.call(closed), ZEVO_ERROR_DRIVER_NODRIVER) << e.name;
        EXPECT_EQ(count(std::string(e.name) + ": failed, because HANDLE is not available in driver."), 2) << e.name;
    }
    clearLines();
    EXPECT_EQ(Close_Cam(&closed), ZEVO_ERROR_DRIVER_NODRIVER);
    EXPECT_TRUE(logged("Close_Cam: closing failed, because HANDLE is not available in driver.", log::kError));
    EXPECT_TRUE(logged(kSeparator, log::kProgress));
}

// A camera that reports "busy" once it is open stays registered under the handle written at
// open, but only the transfer-parameter calls answer for it. Such a camera cannot be closed,
// so the registry lives on: the case runs in a child process.
TEST_F(FrameTest, CameraWithoutReadWriteAccessIsRefusedExceptByTheTransferParameterCalls) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    configure("access_status_after_open=4\n");
    auto scenario = [this] {
        std::string problems;
        auto expect = [&problems](bool ok, const std::string& what) {
            if (!ok) problems += what + "\n";
        };
        const std::string noAccess = ": No access. GenTL::DEVICE_ACCESS_STATUS: 4";
        TQ4_HANDLE h = nullptr;
        expect(Open_Cam(0, &h) == ZEVO_ERROR_DRIVER_NODRIVER, "open is refused");
        expect(h != nullptr, "the handle is written");
        expect(logged("Open_Cam_Ext" + noAccess, log::kError), "open logs the status");
        for (const HandleExport& e : handleExports()) {
            const uint32_t result = e.call(h);
            if (e.checksAccess) {
                expect(result == ZEVO_ERROR_DRIVER_NODRIVER, std::string(e.name) + " refused");
                expect(logged(e.name + noAccess, log::kError), std::string(e.name) + " logs the status");
            } else {
                expect(result == ZEVO_NOERROR, std::string(e.name) + " answers");
            }
        }
        uint8_t record[12];
        std::memset(record, 0xEE, sizeof record);
        expect(Get_Transfer_Parameters(h, record, 8) == ZEVO_NOERROR, "transfer parameters");
        expect(record[0] == 0 && record[7] == 0 && record[8] == 0xEE, "exactly 8 bytes zeroed");
        expect(Check_Device_Availability(0) == ZEVO_ERROR_DRIVER_NOACCESS, "availability says no access");
        TQ4_HANDLE kept = h;
        clearLines();
        expect(Close_Cam(&h) == ZEVO_ERROR_DRIVER_NODRIVER, "close is refused");
        expect(h == kept, "the handle stays");
        expect(!logged(kSeparator, log::kProgress), "no separator after the access refusal");
        if (!problems.empty()) problems += dump();
        std::fputs(problems.c_str(), stderr);
        std::error_code ignored;
        fs::remove_all(root_, ignored);  // the child's own folder: it ends without TearDown
        std::exit(problems.empty() ? 0 : 1);
    };
    EXPECT_EXIT(scenario(), ::testing::ExitedWithCode(0), "");
}

TEST_F(FrameTest, SmallExportsAnswerFromTheFrame) {
    TQ4_HANDLE& h = open();
    uint32_t countValue = 0;
    EXPECT_EQ(Get_Generation_Count(h, &countValue), ZEVO_NOERROR);
    EXPECT_EQ(countValue, 1u);

    const uint32_t shortTimeouts[1] = {5};
    EXPECT_EQ(Set_Timeouts(h, shortTimeouts, 4), ZEVO_NOERROR);
    EXPECT_EQ(Set_Transfer_Parameters(h, nullptr, -5), ZEVO_NOERROR);
    EXPECT_EQ(Set_Image_Transfer_Mode(nullptr, nullptr, 0), ZEVO_NOERROR);
    EXPECT_EQ(Get_Camera_Error(nullptr, nullptr, 0), ZEVO_NOERROR);

    const uint32_t wrongLength[3] = {1296, 1032, 0};
    EXPECT_EQ(Set_Image_Parameters(h, wrongLength, sizeof wrongLength), ZEVO_ERROR_DRIVER_WRONGSIZE);
    EXPECT_TRUE(logged("Set_Image_Parameters: wrong size", log::kError));
    const uint32_t params[4] = {1296, 1032, 7, 7};
    EXPECT_EQ(Set_Image_Parameters(h, params, sizeof params), ZEVO_NOERROR);
    EXPECT_TRUE(logged("Set_Image_Parameters: width: 1296, height: 1032, returned 0.", log::kDetail));

    uint8_t record[48];
    std::memset(record, 0xEE, sizeof record);
    EXPECT_EQ(Get_Image_Transfer_Mode(h, record, 47), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(record[0], 0xEE);
    ASSERT_EQ(Get_Image_Transfer_Mode(h, record, 48), ZEVO_NOERROR);
    EXPECT_EQ(u32(record), 48u);
    EXPECT_EQ(u16(record + 4), 1296);
    EXPECT_EQ(u16(record + 6), 1032);
    EXPECT_EQ(u16(record + 8), 1296);
    EXPECT_EQ(u16(record + 10), 1032);
    for (int i = 12; i < 48; ++i) EXPECT_EQ(record[i], 0) << i;

    uint32_t v[4] = {};
    EXPECT_EQ(ZEVO_GetVersionTQ4_Genicam(&v[0], nullptr, &v[2], nullptr), ZEVO_NOERROR);
    EXPECT_EQ(ZEVO_GetVersion_genicam(nullptr, &v[1], nullptr, &v[3]), ZEVO_NOERROR);
    EXPECT_EQ(v[0], 1u);
    EXPECT_EQ(v[1], 9u);
    EXPECT_EQ(v[2], 0u);
    EXPECT_EQ(v[3], 0u);
}

TEST_F(FrameTest, NullPointersAndNegativeSizesAreRefused) {
    TQ4_HANDLE& h = open();
    struct Case {
        const char* message;
        uint32_t expected;
        uint32_t result;
    };
    const uint32_t params[4] = {1296, 1032, 0, 0};
    uint8_t record[48];
    const Case cases[] = {
        {"Set_Timeouts: failed, because timeouts is nullptr.", ZEVO_ERROR_DRIVER_WRONGVALUE,
         Set_Timeouts(h, nullptr, 8)},
        {"Get_Generation_Count: failed, because count is nullptr.", ZEVO_ERROR_DRIVER_WRONGVALUE,
         Get_Generation_Count(h, nullptr)},
        {"Get_Transfer_Parameters: failed, because buffer is nullptr.", ZEVO_ERROR_DRIVER_WRONGVALUE,
         Get_Transfer_Parameters(h, nullptr, 4)},
        {"Get_Transfer_Parameters: wrong size", ZEVO_ERROR_DRIVER_WRONGSIZE, Get_Transfer_Parameters(h, record, -1)},
        {"Set_Image_Parameters: wrong size", ZEVO_ERROR_DRIVER_WRONGSIZE, Set_Image_Parameters(h, params, -16)},
        {"Set_Image_Parameters: failed, because parameters is nullptr.", ZEVO_ERROR_DRIVER_WRONGVALUE,
         Set_Image_Parameters(h, nullptr, 16)},
        {"Get_Image_Transfer_Mode: wrong size", ZEVO_ERROR_DRIVER_WRONGVALUE, Get_Image_Transfer_Mode(h, record, -48)},
        {"Get_Image_Transfer_Mode: failed, because record is nullptr.", ZEVO_ERROR_DRIVER_WRONGVALUE,
         Get_Image_Transfer_Mode(h, nullptr, 48)},
        {"Get_Pending_Buffer: failed, because count is nullptr.", ZEVO_ERROR_DRIVER_WRONGVALUE,
         Get_Pending_Buffer(h, nullptr)},
        {"Get_Image_Queued: Wrong Handle for buf", ZEVO_ERROR_DRIVER_NOBUFFER,
         Get_Image_Queued(h, 0, 0, 0, 0, 0, nullptr, 100)},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.result, c.expected) << c.message;
        EXPECT_TRUE(logged(c.message, log::kError)) << c.message;
    }
    EXPECT_EQ(Get_Transfer_Parameters(h, nullptr, 0), ZEVO_NOERROR) << "nothing to fill";
    EXPECT_EQ(ZEVO_GetVersionTQ4_Genicam(nullptr, nullptr, nullptr, nullptr), ZEVO_NOERROR);
}
}  // namespace
}  // namespace tq4::test
