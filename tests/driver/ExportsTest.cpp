// The exports as the camera SDK calls them: the handle frame that every camera export runs
// first and the small exports whose whole behaviour lies in it; Control_Command's own checks
// before a telegram reaches the dispatcher; features by name as text; opening and closing (open counts, the registry's
// life, numbers in use, reopening, the producer list from the caller or the configuration file).

#include "driver/Lifetime.h"
#include "support/World.h"

namespace tq4::test {
namespace {

class FrameTest : public World {};

// Every export that takes a camera handle, called with harmless other arguments, so that a
// test can run the same handle case through all of them.
struct HandleExport {
    const char* name;
    bool checksAccess;  // the transfer-parameter calls answer for any registered camera
    uint32_t (*call)(TQ4_HANDLE);
};
uint8_t gRecord[512];
uint32_t gValue;
const uint32_t kTimeouts[2] = {1000, 2000}, kParameters[4] = {1296, 1032, 0, 0};
const uint8_t kCameraType[5] = {0x10, 0x01, 0x05, 0x00, 0x16};
// clang-format off
const HandleExport kHandleExports[] = {
    {"Control_Command", true, [](TQ4_HANDLE h) { return Control_Command(h, kCameraType, 5, gRecord, 512); }},
    {"Set_Timeouts", true, [](TQ4_HANDLE h) { return Set_Timeouts(h, kTimeouts, sizeof kTimeouts); }},
    {"Get_Generation_Count", true, [](TQ4_HANDLE h) { return Get_Generation_Count(h, &gValue); }},
    {"Get_Image_Queued", true, [](TQ4_HANDLE h) { return Get_Image_Queued(h, 10, 0, 0, 0, 0, gRecord, 64); }},
    {"Set_Image_Buffer", true,
     [](TQ4_HANDLE h) { return Set_Image_Buffer(h, TQ4_HANDLE(1), 0, 0, 0, 0, gRecord, 64, &gValue); }},
    {"Cancel_Images", true, [](TQ4_HANDLE h) { return Cancel_Images(h); }},
    {"Get_Pending_Buffer", true, [](TQ4_HANDLE h) { return Get_Pending_Buffer(h, &gValue); }},
    {"Get_Transfer_Parameters", false, [](TQ4_HANDLE h) { return Get_Transfer_Parameters(h, gRecord, 16); }},
    {"Set_Transfer_Parameters", false, [](TQ4_HANDLE h) { return Set_Transfer_Parameters(h, gRecord, 16); }},
    {"Set_Image_Parameters", true,
     [](TQ4_HANDLE h) { return Set_Image_Parameters(h, kParameters, sizeof kParameters); }},
    {"Get_Image_Transfer_Mode", true, [](TQ4_HANDLE h) { return Get_Image_Transfer_Mode(h, gRecord, 48); }},
    {"Get_Feature", true, [](TQ4_HANDLE h) { return Get_Feature(h, "Width", nullptr, &gValue, nullptr); }},
    {"Set_Feature", true, [](TQ4_HANDLE h) { return Set_Feature(h, "Width", "640"); }},
};
// clang-format on

const std::string kSeparator(66, '=');

// A null handle, one the driver never gave out and a closed one are refused by every camera
// export, each with its log line; the closes that fail log the separator too.
TEST_F(FrameTest, NullUnknownAndClosedHandlesAreRefusedByEveryCameraExport) {
    TQ4_HANDLE& h = open();
    const TQ4_HANDLE unknown = TQ4_HANDLE(0x5a5a5a), closed = h;
    ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    EXPECT_EQ(h, nullptr) << "the last close hands back an empty handle";
    for (const HandleExport& e : kHandleExports) {
        EXPECT_EQ(e.call(nullptr), ZEVO_ERROR_DRIVER_NULLHANDLE) << e.name;
        EXPECT_TRUE(logged(std::string(e.name) + ": failed, because HANDLE is nullptr.", log::kError)) << e.name;
        EXPECT_EQ(e.call(unknown), ZEVO_ERROR_DRIVER_NODRIVER) << e.name;
        EXPECT_EQ(e.call(closed), ZEVO_ERROR_DRIVER_NODRIVER) << e.name;
        EXPECT_EQ(count(std::string(e.name) + ": failed, because HANDLE is not available in driver."), 2) << e.name;
    }
    clearLines();
    EXPECT_EQ(Close_Cam(&h), ZEVO_ERROR_DRIVER_NULLHANDLE);
    EXPECT_EQ(Close_Cam(nullptr), ZEVO_ERROR_DRIVER_NULLHANDLE);
    EXPECT_EQ(count("Close_Cam: close failed, because HANDLE is nullptr."), 2);
    EXPECT_TRUE(logged(kSeparator, log::kProgress));
    TQ4_HANDLE copy = closed;
    EXPECT_EQ(Close_Cam(&copy), ZEVO_ERROR_DRIVER_NODRIVER);
    EXPECT_TRUE(logged("Close_Cam: closing failed, because HANDLE is not available in driver.", log::kError));
}

// A camera that reports "busy" once it is open stays registered under the handle written at
// open, but only the transfer-parameter calls answer for it. Such a camera cannot be closed: the
// registry is torn down by hand at the end.
TEST_F(FrameTest, CameraWithoutReadWriteAccessIsRefusedExceptByTheTransferParameterCalls) {
    configure("access_status_after_open=4\n");
    const std::string noAccess = ": No access. GenTL::DEVICE_ACCESS_STATUS: 4";
    TQ4_HANDLE h = nullptr;
    EXPECT_EQ(Open_Cam(0, &h), ZEVO_ERROR_DRIVER_NODRIVER);
    ASSERT_NE(h, nullptr) << "the handle is written";
    EXPECT_TRUE(logged("Open_Cam_Ext" + noAccess, log::kError));
    for (const HandleExport& e : kHandleExports) {
        EXPECT_EQ(e.call(h), e.checksAccess ? ZEVO_ERROR_DRIVER_NODRIVER : ZEVO_NOERROR) << e.name;
        if (e.checksAccess) {
            EXPECT_TRUE(logged(e.name + noAccess, log::kError)) << e.name;
        }
    }
    uint8_t record[12];
    std::memset(record, 0xEE, sizeof record);
    EXPECT_EQ(Get_Transfer_Parameters(h, record, 8), ZEVO_NOERROR);
    EXPECT_EQ(Bytes(record, record + 12), concat({Bytes(8, 0), Bytes(4, 0xEE)})) << "exactly 8 bytes zeroed";
    EXPECT_EQ(Check_Device_Availability(0), ZEVO_ERROR_DRIVER_NOACCESS);
    const TQ4_HANDLE kept = h;
    clearLines();
    EXPECT_EQ(Close_Cam(&h), ZEVO_ERROR_DRIVER_NODRIVER);
    EXPECT_EQ(h, kept) << "the handle stays";
    EXPECT_FALSE(logged(kSeparator, log::kProgress)) << "no separator after the access refusal";
    driver::Driver::clearInstance();
    driver::Driver::destroyInstance();
}

TEST_F(FrameTest, SmallExportsAnswerFromTheFrameAndRefuseNullPointersAndWrongSizes) {
    TQ4_HANDLE& h = open();
    uint32_t countValue = 0;
    EXPECT_EQ(Get_Generation_Count(h, &countValue), ZEVO_NOERROR);
    EXPECT_EQ(countValue, 1u);
    const uint32_t shortTimeouts[1] = {5};
    EXPECT_EQ(Set_Timeouts(h, shortTimeouts, 4), ZEVO_NOERROR);
    EXPECT_EQ(Set_Transfer_Parameters(h, nullptr, -5), ZEVO_NOERROR);
    EXPECT_EQ(Set_Image_Transfer_Mode(nullptr, nullptr, 0), ZEVO_NOERROR);
    EXPECT_EQ(Get_Camera_Error(nullptr, nullptr, 0), ZEVO_NOERROR);
    const uint32_t params[4] = {1296, 1032, 7, 7};
    EXPECT_EQ(Set_Image_Parameters(h, params, sizeof params), ZEVO_NOERROR);
    EXPECT_TRUE(logged("Set_Image_Parameters: width: 1296, height: 1032, returned 0.", log::kDetail));

    uint8_t record[48];
    std::memset(record, 0xEE, sizeof record);
    EXPECT_EQ(Get_Image_Transfer_Mode(h, record, 47), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(record[0], 0xEE);
    ASSERT_EQ(Get_Image_Transfer_Mode(h, record, 48), ZEVO_NOERROR);
    EXPECT_EQ(std::vector<uint32_t>({u32(record), u16(record + 4), u16(record + 6), u16(record + 8), u16(record + 10)}),
              std::vector<uint32_t>({48, 1296, 1032, 1296, 1032}));
    EXPECT_EQ(std::vector<uint8_t>(record + 12, record + 48), std::vector<uint8_t>(36, 0));

    uint32_t v[4] = {7, 7, 7, 7};
    EXPECT_EQ(ZEVO_GetVersionTQ4_Genicam(&v[0], nullptr, &v[2], nullptr), ZEVO_NOERROR);
    EXPECT_EQ(ZEVO_GetVersion_genicam(nullptr, &v[1], nullptr, &v[3]), ZEVO_NOERROR);
    EXPECT_EQ(std::vector<uint32_t>(v, v + 4), std::vector<uint32_t>({1, 9, 0, 0}));
    EXPECT_EQ(ZEVO_GetVersionTQ4_Genicam(nullptr, nullptr, nullptr, nullptr), ZEVO_NOERROR);

    // Null pointers and wrong sizes are refused, each with its line.
    const uint32_t kWrongValue = ZEVO_ERROR_DRIVER_WRONGVALUE;
    // clang-format off
    const struct {
        const char* message;
        uint32_t expected, result;
    } cases[] = {
        {"Set_Timeouts: failed, because timeouts is nullptr.", kWrongValue, Set_Timeouts(h, nullptr, 8)},
        {"Get_Generation_Count: failed, because count is nullptr.", kWrongValue, Get_Generation_Count(h, nullptr)},
        {"Get_Transfer_Parameters: failed, because buffer is nullptr.", kWrongValue,
         Get_Transfer_Parameters(h, nullptr, 4)},
        {"Get_Transfer_Parameters: wrong size", ZEVO_ERROR_DRIVER_WRONGSIZE, Get_Transfer_Parameters(h, record, -1)},
        {"Set_Image_Parameters: failed, because parameters is nullptr.", kWrongValue,
         Set_Image_Parameters(h, nullptr, 16)},
        {"Get_Image_Transfer_Mode: wrong size", kWrongValue, Get_Image_Transfer_Mode(h, record, -48)},
        {"Get_Image_Transfer_Mode: failed, because record is nullptr.", kWrongValue,
         Get_Image_Transfer_Mode(h, nullptr, 48)},
        {"Get_Pending_Buffer: failed, because count is nullptr.", kWrongValue, Get_Pending_Buffer(h, nullptr)},
        {"Get_Image_Queued: Wrong Handle for buf", ZEVO_ERROR_DRIVER_NOBUFFER,
         Get_Image_Queued(h, 0, 0, 0, 0, 0, nullptr, 100)},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(c.result, c.expected) << c.message;
        EXPECT_TRUE(logged(c.message, log::kError)) << c.message;
    }
    EXPECT_EQ(Get_Transfer_Parameters(h, nullptr, 0), ZEVO_NOERROR) << "nothing to fill";
}

// ---- Control_Command ----

class ControlCommandTest : public World {
protected:
    // Sends `request` and reports whether the 0xEE-filled response buffer was left untouched.
    uint32_t send(TQ4_HANDLE h, const Bytes& request, int32_t sizeIn, uint32_t sizeOut, bool* untouched = nullptr) {
        last_.assign(600, 0xEE);
        const uint32_t result = Control_Command(h, request.data(), sizeIn, last_.data(), sizeOut);
        if (untouched) *untouched = last_ == Bytes(600, 0xEE);
        return result;
    }
    Bytes last_;
};

// The refused sizes leave the response alone; the log names the size_in and size_out refused,
// and for a telegram size that differs from size_in the command code (0x0610 = 1552).
TEST_F(ControlCommandTest, SizeInSizeOutCodeAndTelegramSizeAreChecked) {
    TQ4_HANDLE& h = open();
    const Bytes type = paddedTelegram(GET_CAMERA_TYPE);
    Bytes sized = paddedTelegram(GET_TEMPERATURE);
    // clang-format off
    const struct {
        const Bytes& request;
        uint16_t telegramSize;
        int32_t sizeIn;
        uint32_t sizeOut;
        std::string line;
    } refused[] = {
        {type, 5, 4, 512, "size_in 4"}, {type, 5, 512, 512, "size_in 512"}, {type, 5, -1, 512, "size_in -1"},
        {type, 5, INT32_MIN, 512, "size_in -2147483648"}, {type, 5, 5, 4, "size_out 4"},
        {type, 5, 5, 513, "size_out 513"}, {type, 5, 5, 0, "size_out 0"}, {type, 5, 5, 0xFFFFFFFF, "size_out -1"},
        {sized, 4, 8, 512, "command size in 1552"}, {sized, 512, 8, 512, "command size in 1552"},
        {sized, 9, 8, 512, "command size in 1552"}};
    // clang-format on
    bool untouched = false;
    for (const auto& c : refused) {
        sized[2] = uint8_t(c.telegramSize);
        sized[3] = uint8_t(c.telegramSize >> 8);
        EXPECT_EQ(send(h, c.request, c.sizeIn, c.sizeOut, &untouched), ZEVO_ERROR_DRIVER_WRONGVALUE) << c.line;
        EXPECT_TRUE(untouched) << c.line;
        EXPECT_TRUE(logged("Control_Command: wrong value " + c.line, log::kError)) << c.line;
    }
    EXPECT_EQ(send(h, paddedTelegram(0x0000), 5, 512, &untouched), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(untouched);
    EXPECT_TRUE(logged("Control_Command: wrong value command in 0", log::kError));

    for (const auto& [sizeIn, sizeOut] : {std::pair{5, 512u}, {511, 512u}, {5, 5u}}) {
        EXPECT_EQ(send(h, type, sizeIn, sizeOut), ZEVO_NOERROR) << sizeIn;
        EXPECT_EQ(u16(last_.data()), GET_CAMERA_TYPE | TQ4_RESPONSE_FLAG);
        EXPECT_EQ(u16(last_.data() + 2), 23);
        if (sizeOut == 5) {
            EXPECT_EQ(last_[5], 0xEE) << "a short buffer gets the response cut";
        }
    }
    uint8_t response[16];
    EXPECT_EQ(Control_Command(h, nullptr, 5, response, sizeof response), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(logged("Control_Command: failed, because telegram is nullptr.", log::kError));
    EXPECT_EQ(Control_Command(h, type.data(), 5, nullptr, 16), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(logged("Control_Command: failed, because response is nullptr.", log::kError));
}

// ---- opening and closing ----

// Features by name: the text and kind of each node type, the size query, and every refusal
// with its own code; a refused value leaves the feature as it was.
class FeatureExportTest : public World {
protected:
    std::string get(TQ4_HANDLE h, const char* name, uint32_t* kind = nullptr, uint32_t* result = nullptr) {
        char text[256] = "unwritten";
        uint32_t size = sizeof text;
        const uint32_t code = Get_Feature(h, name, text, &size, kind);
        if (result) *result = code;
        return code == ZEVO_NOERROR ? text : "error " + std::to_string(code);
    }
};

TEST_F(FeatureExportTest, FeaturesAreReadAndWrittenByNameAsText) {
    TQ4_HANDLE& h = open();
    uint32_t kind = 0;
    EXPECT_EQ(Set_Feature(h, "ExposureTime", "2500.5"), ZEVO_NOERROR);
    EXPECT_EQ(get(h, "ExposureTime", &kind), "2500.5");
    EXPECT_EQ(kind, ZEVO_FEATURE_FLOAT);
    EXPECT_EQ(Set_Feature(h, "Width", "0x280"), ZEVO_NOERROR);
    EXPECT_EQ(get(h, "Width", &kind), "640");
    EXPECT_EQ(kind, ZEVO_FEATURE_INTEGER);
    EXPECT_EQ(Set_Feature(h, "PixelFormat", "Mono8"), ZEVO_NOERROR);
    EXPECT_EQ(get(h, "PixelFormat", &kind), "Mono8");
    EXPECT_EQ(kind, ZEVO_FEATURE_ENUMERATION);
    EXPECT_EQ(Set_Feature(h, "AcquisitionFrameRateEnable", "true"), ZEVO_NOERROR);
    EXPECT_EQ(get(h, "AcquisitionFrameRateEnable", &kind), "1");
    EXPECT_EQ(get(h, "DeviceModelName", &kind).find("SWIR") != std::string::npos, true);
    EXPECT_EQ(kind, ZEVO_FEATURE_STRING);
    EXPECT_EQ(get(h, "TriggerSoftware", &kind), "");
    EXPECT_EQ(kind, ZEVO_FEATURE_COMMAND);

    // The size query, and a text that does not fit.
    uint32_t size = 0;
    EXPECT_EQ(Get_Feature(h, "PixelFormat", nullptr, &size, nullptr), ZEVO_NOERROR);
    EXPECT_EQ(size, 6u);
    char small[5] = "keep";
    size = sizeof small;
    EXPECT_EQ(Get_Feature(h, "PixelFormat", small, &size, nullptr), ZEVO_ERROR_DRIVER_WRONGSIZE);
    EXPECT_EQ(size, 6u);
    EXPECT_STREQ(small, "keep");

    EXPECT_EQ(Set_Feature(h, "ExposureTime", "fast"), ZEVO_ERROR_FEATURE_VALUE);
    EXPECT_EQ(Set_Feature(h, "PixelFormat", "RGB8"), ZEVO_ERROR_FEATURE_VALUE);
    EXPECT_EQ(Set_Feature(h, "Width", "641.5"), ZEVO_ERROR_FEATURE_VALUE);
    EXPECT_EQ(get(h, "ExposureTime"), "2500.5");
    EXPECT_EQ(get(h, "PixelFormat"), "Mono8");
    EXPECT_TRUE(logged("Set_Feature: <ExposureTime> does not take the value.", log::kError));
    EXPECT_EQ(Set_Feature(h, "DeviceModelName", "other"), ZEVO_ERROR_FEATURE_ACCESS);
    EXPECT_EQ(Set_Feature(h, "NoSuchFeature", "1"), ZEVO_ERROR_FEATURE_NOTFOUND);
    uint32_t result = 0;
    get(h, "NoSuchFeature", nullptr, &result);
    EXPECT_EQ(result, ZEVO_ERROR_FEATURE_NOTFOUND);
    EXPECT_TRUE(logged("Get_Feature: <NoSuchFeature> not found.", log::kError));
    EXPECT_EQ(Get_Feature(h, nullptr, nullptr, &size, nullptr), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(Set_Feature(h, "Width", nullptr), ZEVO_ERROR_DRIVER_WRONGVALUE);
}

class OpenCloseTest : public World {};

TEST_F(OpenCloseTest, ReopensCountUpAndTheLastCloseDestroysTheRegistry) {
    TQ4_HANDLE& h = open();
    for (int expected = 2; expected <= 3; ++expected) {
        TQ4_HANDLE again = h;
        ASSERT_EQ(Open_Cam(0, &again), ZEVO_NOERROR);
        EXPECT_EQ(again, h);
        EXPECT_TRUE(
            logged("Open_Cam_Ext: reopen device num 0, open_count " + std::to_string(expected), log::kProgress));
    }
    uint32_t generation = 0;
    EXPECT_EQ(Get_Generation_Count(h, &generation), ZEVO_NOERROR);
    EXPECT_EQ(generation, 3u);

    // After each close the remaining opens are counted; a device still held twice is named.
    ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    EXPECT_EQ(count("is opened 2 times."), 1) << dump();
    ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    EXPECT_NE(h, nullptr);
    EXPECT_TRUE(driver::registryExists());
    EXPECT_EQ(count("is opened"), 1);
    ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    EXPECT_EQ(h, nullptr);
    EXPECT_FALSE(driver::registryExists());
    EXPECT_EQ(count("Close_Cam: done."), 3);

    // The next call starts a new, empty registry, and the camera opens again.
    EXPECT_EQ(Check_Device_Availability(0), ZEVO_ERROR_DRIVER_NODRIVER);
    EXPECT_TRUE(driver::registryExists());
    TQ4_HANDLE& reopened = open();
    EXPECT_EQ(Check_Device_Availability(0), ZEVO_NOERROR);
    EXPECT_EQ(Close_Cam(&reopened), ZEVO_NOERROR);
    EXPECT_FALSE(driver::registryExists());
}

TEST_F(OpenCloseTest, NumbersInUseAndMismatchedReopensAreRefused) {
    TQ4_HANDLE& h = open(0);
    TQ4_HANDLE fresh = nullptr;
    EXPECT_EQ(Open_Cam(0, &fresh), ZEVO_ERROR_OPEN_INUSE);
    EXPECT_EQ(fresh, nullptr);
    EXPECT_TRUE(logged("Open_Cam_Ext: device num 0 already in use, open_count 1", log::kProgress));
    TQ4_HANDLE copy = h;
    EXPECT_EQ(Open_Cam(1, &copy), ZEVO_ERROR_DRIVER_NULLHANDLE);
    EXPECT_TRUE(logged("Open_Cam_Ext: reopen failed, because HANDLE does not match device number", log::kError));
    TQ4_HANDLE unknown = reinterpret_cast<TQ4_HANDLE>(intptr_t(0x77));
    EXPECT_EQ(Open_Cam(0, &unknown), ZEVO_ERROR_DRIVER_NULLHANDLE);
    EXPECT_TRUE(logged("Open_Cam_Ext: reopen failed, because HANDLE is not available in driver.", log::kError));
    uint32_t generation = 0;
    EXPECT_EQ(Get_Generation_Count(h, &generation), ZEVO_NOERROR);
    EXPECT_EQ(generation, 1u) << "refused opens leave the camera alone";

    EXPECT_EQ(Check_Device_Availability(0), ZEVO_NOERROR);
    EXPECT_EQ(Check_Device_Availability(1), ZEVO_ERROR_DRIVER_NODRIVER);
    EXPECT_EQ(Check_Device_Availability(0xFFFFFFFFu), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(logged("Check_Device_Availability: failed. num too high: -1 < -1", log::kError));
    EXPECT_EQ(Open_Cam(0xFFFFFFFFu, &fresh), ZEVO_ERROR_OPEN_WRONGNUM);
    EXPECT_TRUE(logged("Open_Cam_Ext: failed, because num is 0xffffffff.", log::kError));
    EXPECT_EQ(Open_Cam(0, nullptr), ZEVO_ERROR_OPEN_NULLHANDLEPTR);
    EXPECT_TRUE(logged("Open_Cam_Ext: failed, because (HANDLE*) is nullptr.", log::kError));
}

TEST_F(OpenCloseTest, ASecondCameraOpensUnderItsOwnNumber) {
    configure("devices_per_interface=2\n");
    TQ4_HANDLE& first = open(0);
    TQ4_HANDLE& second = open(5);
    EXPECT_NE(first, second);
    EXPECT_EQ(Check_Device_Availability(5), ZEVO_NOERROR);
    TQ4_HANDLE third = nullptr;
    EXPECT_EQ(Open_Cam(7, &third), ZEVO_ERROR_OPEN_FAILED) << "no third camera";
    EXPECT_EQ(Close_Cam(&first), ZEVO_NOERROR);
    EXPECT_TRUE(driver::registryExists()) << "camera 5 is still open";
    EXPECT_EQ(Close_Cam(&second), ZEVO_NOERROR);
    EXPECT_FALSE(driver::registryExists());
}

// The producers come from the caller's list, else from the configuration file (a file without
// the key gets it written with the default, one that has it keeps it); a producer that cannot
// be loaded only costs its turn.
TEST_F(OpenCloseTest, ProducerListFromTheCallerOrTheConfigurationFile) {
    TQ4_OpenStruct how{};
    ASSERT_FALSE(fs::exists(iniFile()));
    TQ4_HANDLE& a = open(0, &how);
    EXPECT_TRUE(logged("Open_Cam_Ext: num: 0, cti_name list: ZEVO.cti from ini", log::kVerbose));
    EXPECT_NE(readText(iniFile()).find("[CONFIG]\nProducerName=ZEVO.cti\n"), std::string::npos);
    ASSERT_EQ(Close_Cam(&a), ZEVO_NOERROR);

    writeFile(iniFile(), "[CONFIG]\nProducerName = Missing.cti:ZEVO.cti\n");
    open(0);
    EXPECT_TRUE(logged("Open_Cam_Ext: num: 0, cti_name list: Missing.cti:ZEVO.cti from ini", log::kVerbose));
    EXPECT_TRUE(logged("Open_Cam_Ext: open TLI system failed. cti_token: Missing.cti", log::kError));
    EXPECT_TRUE(logged("Open_Cam_Ext: done.", log::kProgress));
    EXPECT_NE(readText(iniFile()).find("[CONFIG]\nProducerName=Missing.cti:ZEVO.cti\n"), std::string::npos)
        << "a file that has the key keeps it as it is";

    how.producerList = "Missing.cti:AlsoMissing.cti";
    TQ4_HANDLE none = nullptr;
    EXPECT_EQ(Open_Cam_Ext(1, &none, &how), ZEVO_ERROR_DRIVER_NODRIVER);
    EXPECT_TRUE(
        logged("Open_Cam_Ext: num: 1, cti_name list: Missing.cti:AlsoMissing.cti from TQ4_OpenStruct", log::kProgress));
    EXPECT_TRUE(logged("Open_Cam_Ext: open TLI system failed. cti_token: AlsoMissing.cti", log::kError));
}

}  // namespace
}  // namespace tq4::test
