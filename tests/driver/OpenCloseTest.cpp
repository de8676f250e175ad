// Opening and closing through the exports: open counts, the registry's life, numbers in use,
// reopening, and the producer list from the caller or the configuration file.
#include "driver/Lifetime.h"
#include "support/DriverWorld.h"

namespace tq4::test {
namespace {

using namespace tq4::driver;

class OpenCloseTest : public DriverWorld {};

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
    EXPECT_NE(h, nullptr);
    EXPECT_EQ(count("is opened 2 times."), 1) << dump();
    ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    EXPECT_NE(h, nullptr);
    EXPECT_TRUE(registryExists());
    EXPECT_EQ(count("is opened"), 1);

    ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    EXPECT_EQ(h, nullptr);
    EXPECT_FALSE(registryExists());
    EXPECT_EQ(count("Close_Cam: done."), 3);

    // The next call starts a new, empty registry, and the camera opens again.
    EXPECT_EQ(Check_Device_Availability(0), ZEVO_ERROR_DRIVER_NODRIVER);
    EXPECT_TRUE(registryExists());
    TQ4_HANDLE& reopened = open();
    EXPECT_EQ(Check_Device_Availability(0), ZEVO_NOERROR);
    EXPECT_EQ(Close_Cam(&reopened), ZEVO_NOERROR);
    EXPECT_FALSE(registryExists());
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
    EXPECT_TRUE(registryExists()) << "camera 5 is still open";
    EXPECT_EQ(Close_Cam(&second), ZEVO_NOERROR);
    EXPECT_FALSE(registryExists());
}

TEST_F(OpenCloseTest, AProducerThatCannotBeLoadedOnlyCostsItsTurn) {
    TQ4_OpenStruct openStruct{};
    openStruct.producerList = "Missing.cti:ZEVO.cti";
    TQ4_HANDLE& h = opened_.emplace_back(nullptr);
    ASSERT_EQ(Open_Cam_Ext(0, &h, &openStruct), ZEVO_NOERROR) << dump();
    EXPECT_TRUE(
        logged("Open_Cam_Ext: num: 0, cti_name list: Missing.cti:ZEVO.cti from TQ4_OpenStruct", log::kProgress));
    EXPECT_TRUE(logged("Open_Cam_Ext: open TLI system failed. cti_token: Missing.cti", log::kError));
    EXPECT_TRUE(logged("Open_Cam_Ext: done.", log::kProgress));

    openStruct.producerList = "Missing.cti:AlsoMissing.cti";
    TQ4_HANDLE none = nullptr;
    EXPECT_EQ(Open_Cam_Ext(1, &none, &openStruct), ZEVO_ERROR_DRIVER_NODRIVER);
    EXPECT_TRUE(logged("Open_Cam_Ext: open TLI system failed. cti_token: AlsoMissing.cti", log::kError));
}

// Without a list from the caller the configuration file names the producers; a file without
// the key gets it written with the default.
TEST_F(OpenCloseTest, NullOpenStructAndNullListBothUseTheConfigurationFile) {
    ASSERT_FALSE(fs::exists(iniFile()));
    TQ4_HANDLE& a = opened_.emplace_back(nullptr);
    ASSERT_EQ(Open_Cam_Ext(0, &a, nullptr), ZEVO_NOERROR) << dump();
    EXPECT_TRUE(logged("Open_Cam_Ext: num: 0, cti_name list: ZEVO.cti from ini", log::kVerbose));
    const std::string written = readFile(iniFile());
    EXPECT_NE(written.find("[CONFIG]"), std::string::npos) << written;
    EXPECT_NE(written.find("ProducerName"), std::string::npos) << written;
    EXPECT_NE(written.find("ZEVO.cti"), std::string::npos) << written;
    ASSERT_EQ(Close_Cam(&a), ZEVO_NOERROR);

    writeFile(iniFile(), "[CONFIG]\nProducerName = Missing.cti:ZEVO.cti\n");
    clearLines();
    TQ4_OpenStruct withoutList{};
    TQ4_HANDLE& b = opened_.emplace_back(nullptr);
    ASSERT_EQ(Open_Cam_Ext(0, &b, &withoutList), ZEVO_NOERROR) << dump();
    EXPECT_TRUE(logged("Open_Cam_Ext: num: 0, cti_name list: Missing.cti:ZEVO.cti from ini", log::kVerbose));
    EXPECT_TRUE(logged("Open_Cam_Ext: open TLI system failed. cti_token: Missing.cti", log::kError));
    EXPECT_NE(readText(iniFile()).find("[CONFIG]\nProducerName=Missing.cti:ZEVO.cti\n"), std::string::npos)
        << "a file that has the key keeps it as it is";
}

}  // namespace
}  // namespace tq4::test
