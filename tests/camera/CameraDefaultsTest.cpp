// The state a camera is in when Open_Cam returns: pixel format, automatic features, output
// lines, cooling, and the reports in the log, on the simulated camera (Mono8 to Mono16, Mono12
// when powered up, serial 3101).
#include "camera/CameraWorld.h"

#include <algorithm>

#include "camera/CameraDefaults.h"
#include "driver/Driver.h"
#include "features/Features.h"
#include "gentl/Device.h"

namespace tq4::test {
namespace {

using namespace tq4::camera;

TEST(WidestPixelFormat, LastDigitsDecideLaterEntriesWinTiesMsbIsPassedOver) {
    const struct {
        std::vector<std::string> entries;
        std::string widest;
    } cases[] = {
        {{"Mono8", "Mono12", "Mono16", "Mono16msb"}, "Mono16"},
        {{"Mono8", "Mono16msb", "Mono12"}, "Mono12"},
        {{"Mono12", "BayerRG12"}, "BayerRG12"},
        {{"Mono10p", "YCbCr422_8"}, "Mono10p"},
        {{"Raw", "Mono8"}, "Mono8"},
        {{"Raw"}, ""},
    };
    for (const auto& c : cases) EXPECT_EQ(widestPixelFormat(c.entries, nullptr), c.widest) << c.entries.front();
}

struct IniCase {
    const char* ini;
    uint16_t bits;
    const char* line;
    uint32_t level;
};

void PrintTo(const IniCase& c, std::ostream* out) { *out << '"' << c.ini << '"'; }

class PixelFormatFromIni : public CameraWorld, public ::testing::WithParamInterface<IniCase> {};

// Offset 16 of the description reports the depth chosen at open, without Set_Image_Parameters.
TEST_P(PixelFormatFromIni, OpenSetsTheFormatTheFileAsksFor) {
    const IniCase c = GetParam();
    if (*c.ini) writeIni(std::string("[FEATURE]\nPixelFormat = ") + c.ini + "\n");
    TQ4_HANDLE& h = open();
    EXPECT_TRUE(logged(c.line, c.level)) << dump();
    EXPECT_EQ(describedBits(h), c.bits);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PixelFormatFromIni,
    ::testing::Values(
        IniCase{"", 16, "Device::setPixelFormat: PixelFormat: Mono16 (Mono16 from max)", log::kDetail},
        IniCase{"Mono10", 10, "Device::setPixelFormat: PixelFormat: Mono10 (Mono10 from ini)", log::kDetail},
        IniCase{"None", 12, "Device::setPixelFormat: <None> was specified in ini. preserve PixelFormat: Mono12",
                log::kProgress},
        IniCase{"none", 16,
                "Device::setPixelFormat: Specified <PixelFormat> none in ini file is not supported by the camera. Set "
                "max format: Mono16",
                log::kError}));

TEST_F(CameraWorld, RefusedPixelFormatGetsExactlyOneRetry) {
    configure("refused_pixel_formats = Mono14\n");
    writeIni("[FEATURE]\nPixelFormat = Mono14\n");
    TQ4_HANDLE& h = open();
    EXPECT_EQ(count("Device::setPixelFormat: set failed. Readback: Mono12, set again: Mono14"), 1) << dump();
    EXPECT_EQ(count("Device::setPixelFormat: 2nd set failed again. PixelFormat is Mono12"), 1);
    EXPECT_TRUE(logged("Device::setPixelFormat: PixelFormat: Mono12 (Mono14 from ini)", log::kDetail));
    EXPECT_EQ(describedBits(h), 12);
}

// The camera's msb formats deliver their data at the top already: the stream's alignment is MSB
// for them and LSB for the others.
TEST_F(CameraWorld, MsbFormatsAreNeverTheWidestAndSetMsbAlignment) {
    configure("pixel_formats = Mono8, Mono12, Mono16msb\n");
    TQ4_HANDLE& widest = open();
    EXPECT_EQ(describedBits(widest), 12);
    EXPECT_EQ(bitAlignment(widest), 1);
    ASSERT_EQ(Close_Cam(&widest), ZEVO_NOERROR);

    writeIni("[FEATURE]\nPixelFormat = Mono16msb\n");
    TQ4_HANDLE& msb = open();
    EXPECT_EQ(describedBits(msb), 16);
    EXPECT_EQ(bitAlignment(msb), 0);
}

// Index of the first message that starts with `prefix`, or the number of lines.
std::size_t firstIndex(const std::vector<std::string>& messages, const std::string& prefix) {
    return std::find_if(messages.begin(), messages.end(),
                        [&](const std::string& m) { return m.compare(0, prefix.size(), prefix) == 0; }) -
           messages.begin();
}

TEST_F(CameraWorld, OpenTurnsAutomaticsOffSetsLinesAndCoolingInOrder) {
    // The simulated camera keeps its settings while the producer is loaded: a second camera
    // open keeps it loaded while the first is closed and opened again.
    configure("devices_per_interface = 2\n");
    TQ4_HANDLE& first = open(0);
    open(1);
    {
        auto map = driver::Driver::instance()->getDevice(static_cast<const void*>(first))->nodeMap();
        ASSERT_TRUE(features::setEnum(*map, "ExposureAuto", "Continuous"));
        ASSERT_TRUE(features::setEnum(*map, "BalanceWhiteAuto", "Continuous"));
        ASSERT_TRUE(features::setEnum(*map, "FanControlMode", "Off"));
        ASSERT_TRUE(features::setEnum(*map, "LineSelector", "Line2"));
        ASSERT_TRUE(features::setEnum(*map, "LineSource", "ExposureActive"));
    }
    ASSERT_EQ(Close_Cam(&first), ZEVO_NOERROR);
    clearLines();
    TQ4_HANDLE& h = open(0);

    std::vector<std::string> messages;
    for (const Line& l : lines()) messages.push_back(l.text);
    const char* order[] = {
        "Device::setPixelFormat: PixelFormat: ",
        "Device::setFanCtrlAutoTarget: <Off> --> <AutomaticTarget>",
        "Device::turnExposureAutoOff: <Continuous> --> <Off>",
        "Device::turnExposureAutoOff: \"ExposureAuto\" is <Off>",
        "Device::setOutputLines: Out 3: FrameTriggerOut, Out 4: ExposureActive",
        "Device::turnBalanceWhiteOff: <Continuous> --> <Off>",
        "Device::turnBalanceWhiteOff: \"BalanceWhiteAuto\" is <Off>",
        "Device::loadCorrectionData: Mode <",
        "Temp Sensor <Img-Sen: ",
        "Pressure Sensor <Housing: ",
        "HumidityRel Sensor <Housing: ",
        "HumidityAbs Sensor <Housing: ",
        "Register <DeviceType>: ",
        "Register <DeviceVendorName>: Orvanta ZEVO GmbH",
        "Register <DeviceSerialNumber>: 3101",
        "Register <MaterialNumber>: ZQ-1300-SW-0812",
    };
    std::size_t previous = 0;
    for (const char* prefix : order) {
        const std::size_t index = firstIndex(messages, prefix);
        ASSERT_LT(index, messages.size()) << prefix << "\n" << dump();
        EXPECT_GE(index, previous) << prefix;
        previous = index;
    }
    const std::string temperatures = messages[firstIndex(messages, "Temp Sensor ")];
    EXPECT_EQ(std::count(temperatures.begin(), temperatures.end(), '<'), 3) << temperatures;
    EXPECT_NE(temperatures.substr(temperatures.size() - 1), " ");
    const std::string pressure = messages[firstIndex(messages, "Pressure Sensor ")];
    EXPECT_EQ(std::count(pressure.begin(), pressure.end(), '<'), 1) << pressure;
    EXPECT_EQ(describedSetpoint(h), 15);
}

TEST_F(CameraWorld, MissingAutomaticsAreSkippedWhiteBalanceSaysSo) {
    configure("remove_features = ExposureAuto, BalanceWhiteAuto, CoolingAutomaticValue\n");
    TQ4_HANDLE& h = open();
    EXPECT_EQ(count("Device::turnExposureAutoOff"), 0);
    EXPECT_TRUE(logged("Device::turnBalanceWhiteOff: \"BalanceWhiteAuto\" is not writable", log::kProgress));
    EXPECT_EQ(describedSetpoint(h), 0);
}

}  // namespace
}  // namespace tq4::test
