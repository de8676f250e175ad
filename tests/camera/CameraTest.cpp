// The camera as Open_Cam leaves it, on the simulated camera (Mono8 to Mono16, Mono12 when
// powered up, serial 3101): pixel format, automatic features, output lines, cooling and the
// reports in the log; and its correction references at open and SWIR_GENERATE_CORRECTION_DATA
// (Mono16 after open: files 3101_b16 and 3101_w16). The simulated camera forgets its references
// when the producer is unloaded, which the last Close_Cam does: what a later open finds comes
// from the files.

#include "camera/CameraDefaults.h"
#include "features/Features.h"
#include "support/World.h"

namespace tq4::test {
namespace {

class CameraWorld : public World {
protected:
    void SetUp() override {
        World::SetUp();
        asked.clear();
        given = platform::Answer::No;
        platform::setQuestionHandler(&record);
    }
    void TearDown() override {
        World::TearDown();
        platform::setQuestionHandler(nullptr);
    }

    void writeIni(const std::string& text) { writeFile(iniFile(), text); }
    fs::path correctionFolder() const { return dataDirectory() / "correction_data"; }
    // The depth GET_CAMERA_DESCRIPTION reports (offset 16) and its cooling set point (106).
    static uint16_t describedBits(TQ4_HANDLE h) { return u16(ask(h, GET_CAMERA_DESCRIPTION).bytes.data() + 16); }
    static int16_t describedSetpoint(TQ4_HANDLE h) { return s16At(ask(h, GET_CAMERA_DESCRIPTION).bytes, 106); }
    static uint16_t bitAlignment(TQ4_HANDLE h) { return u16(ask(h, GET_BIT_ALIGNMENT).bytes.data() + 4); }

    // Questions asked while a test runs (caption and text), and the answer they get.
    static inline std::vector<std::pair<std::string, std::string>> asked;
    static inline platform::Answer given = platform::Answer::No;

private:
    static platform::Answer record(const std::string& caption, const std::string& text) {
        asked.emplace_back(caption, text);
        return given;
    }
};

using namespace tq4::camera;

TEST(WidestPixelFormat, LastDigitsDecideLaterEntriesWinTiesMsbIsPassedOver) {
    // clang-format off
    const struct {
        std::vector<std::string> entries;
        std::string widest;
    } cases[] = {{{"Mono8", "Mono12", "Mono16", "Mono16msb"}, "Mono16"}, {{"Mono8", "Mono16msb", "Mono12"}, "Mono12"},
                 {{"Mono12", "BayerRG12"}, "BayerRG12"}, {{"Mono10p", "YCbCr422_8"}, "Mono10p"},
                 {{"Raw", "Mono8"}, "Mono8"}, {{"Raw"}, ""}};
    // clang-format on
    for (const auto& c : cases) EXPECT_EQ(widestPixelFormat(c.entries, nullptr), c.widest) << c.entries.front();
}

// The pixel format at open: the one the configuration file names, "None" for the camera's own,
// else the widest the camera offers, msb formats never (offset 16 of the description reports
// the depth, without Set_Image_Parameters). The camera's msb formats deliver their data at the
// top already: the stream's alignment is MSB for them, LSB for the others. A format the camera
// refuses is tried exactly once more.
TEST_F(CameraWorld, OpenSetsThePixelFormatTheFileNamesElseTheWidest) {
    const struct {
        const char *producer, *ini;
        uint16_t bits, alignment;
        const char* line;
        uint32_t level;
    } cases[] = {
        {"", "", 16, 1, "PixelFormat: Mono16 (Mono16 from max)", log::kDetail},
        {"", "Mono10", 10, 1, "PixelFormat: Mono10 (Mono10 from ini)", log::kDetail},
        {"", "None", 12, 1, "<None> was specified in ini. preserve PixelFormat: Mono12", log::kProgress},
        {"", "none", 16, 1,
         "Specified <PixelFormat> none in ini file is not supported by the camera. Set max format: Mono16",
         log::kError},
        {"refused_pixel_formats = Mono14\n", "Mono14", 12, 1, "PixelFormat: Mono12 (Mono14 from ini)", log::kDetail},
        {"pixel_formats = Mono8, Mono12, Mono16msb\n", "", 12, 1, "PixelFormat: Mono12 (Mono12 from max)",
         log::kDetail},
        {"pixel_formats = Mono8, Mono12, Mono16msb\n", "Mono16msb", 16, 0,
         "PixelFormat: Mono16msb (Mono16msb from ini)", log::kDetail},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.producer) + c.ini);
        writeIni(*c.ini ? std::string("[FEATURE]\nPixelFormat = ") + c.ini + "\n" : "");
        TQ4_HANDLE& h = camera(c.producer);
        EXPECT_TRUE(logged(std::string("Device::setPixelFormat: ") + c.line, c.level)) << dump();
        EXPECT_EQ(describedBits(h), c.bits);
        EXPECT_EQ(bitAlignment(h), c.alignment);
        const bool refused = *c.producer == 'r';
        EXPECT_EQ(count("Device::setPixelFormat: set failed. Readback: Mono12, set again: Mono14"), refused);
        EXPECT_EQ(count("Device::setPixelFormat: 2nd set failed again. PixelFormat is Mono12"), refused);
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
        clearLines();
    }
}

// Open turns the automatics off, sets the output lines (Line2: FrameTriggerOut, Line3:
// ExposureActive) and the fan to its automatic target, and reports the sensors (each sensor
// group on one line) and registers.
TEST_F(CameraWorld, OpenTurnsAutomaticsOffSetsLinesAndCoolingAndReportsTheCamera) {
    // The simulated camera keeps its settings while the producer is loaded: a second camera
    // open keeps it loaded while the first is closed and opened again.
    configure("devices_per_interface = 2\n");
    TQ4_HANDLE& first = open(0);
    open(1);
    auto map = device(first)->nodeMap();
    const std::pair<const char*, const char*> changed[] = {{"ExposureAuto", "Continuous"},
                                                           {"BalanceWhiteAuto", "Continuous"},
                                                           {"FanControlMode", "Off"},
                                                           {"LineSelector", "Line2"},
                                                           {"LineSource", "ExposureActive"}};
    for (const auto& [feature, value] : changed) ASSERT_TRUE(features::setEnum(*map, feature, value));
    ASSERT_EQ(Close_Cam(&first), ZEVO_NOERROR);
    clearLines();
    TQ4_HANDLE& h = open(0);
    map = device(h)->nodeMap();
    std::vector<std::string> held;
    for (const char* feature : {"ExposureAuto", "BalanceWhiteAuto", "FanControlMode"})
        held.push_back(features::getEnum(*map, feature));
    for (const char* line : {"Line2", "Line3"}) {
        features::setEnum(*map, "LineSelector", line);
        held.push_back(features::getEnum(*map, "LineSource"));
    }
    EXPECT_EQ(held, (std::vector<std::string>{"Off", "Off", "AutomaticTarget", "FrameTriggerOut", "ExposureActive"}));
    EXPECT_TRUE(logged("Device::setOutputLines: Out 3: FrameTriggerOut, Out 4: ExposureActive", log::kProgress));
    for (const char* report :
         {"Temp Sensor <Img-Sen: ", "Pressure Sensor <Housing: ", "HumidityRel Sensor <Housing: ",
          "HumidityAbs Sensor <Housing: ", "Register <DeviceType>: ", "Register <DeviceVendorName>: Orvanta ZEVO GmbH",
          "Register <DeviceSerialNumber>: 3101", "Register <MaterialNumber>: ZQ-1300-SW-0812"})
        EXPECT_EQ(messagesStartingWith(report).size(), 1u) << report << "\n" << dump();
    const std::string temperatures = messagesStartingWith("Temp Sensor ").at(0);
    EXPECT_EQ(std::count(temperatures.begin(), temperatures.end(), '<'), 3) << temperatures;
    EXPECT_NE(temperatures.back(), ' ');
    const std::string pressure = messagesStartingWith("Pressure Sensor ").at(0);
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

// ---- correction data ----

constexpr const char* kCaption = "tq4_genicam.dll: ZEVO quillon SWIR (3101) (Serial No.: 3101)";
// The question's text after its first sentence, the same for both questions.
const std::string kDownload =
    " To download camera specific correction data, please run the download tool <zevo.quillonSWIR.exe> and follow the "
    "instructions. \r\n\r\nOpen download tool now?\r\n\r\n\tClick \"No\" to continue without";
const std::string kNoWhiteText = "No white correction data found." + kDownload;
const std::string kNoneText = "No correction data found." + kDownload;
constexpr uint16_t kBlack = 0, kWhite = 1;

class CorrectionData : public CameraWorld {
protected:
    fs::path reference(const char* suffix) const { return correctionFolder() / (std::string("3101") + suffix); }

    // Opens, lets the camera take and save the references of `kinds`, closes again.
    void takeReferences(const std::vector<uint16_t>& kinds) {
        TQ4_HANDLE& h = open();
        for (uint16_t kind : kinds)
            ASSERT_EQ(ask(h, SWIR_GENERATE_CORRECTION_DATA, kind).result, ZEVO_NOERROR) << dump();
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
        asked.clear();
        clearLines();
    }

    bool iniHas(const std::string& text) { return readText(iniFile()).find(text) != std::string::npos; }
};

// No references: the general question, answered "No" (the camera stays open); black only: the
// question for white; both: no question.
TEST_F(CorrectionData, TheReferencesFoundDecideTheModeAndTheQuestion) {
    using Asked = std::vector<std::pair<std::string, std::string>>;
    const struct {
        std::vector<uint16_t> kinds;
        std::string question, mode;
    } cases[] = {
        {{}, kNoneText, "Off"}, {{kBlack}, kNoWhiteText, "BlackReferenceOnly"}, {{kBlack, kWhite}, "", "Both"}};
    for (const auto& c : cases) {
        takeReferences(c.kinds);
        TQ4_HANDLE& h = open();
        EXPECT_EQ(asked, (c.question.empty() ? Asked{} : Asked{{kCaption, c.question}})) << c.mode;
        EXPECT_TRUE(logged("Device::loadCorrectionData: Mode <" + c.mode + ">", log::kProgress)) << dump();
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    }
    EXPECT_TRUE(iniHas("SuppressWarnOnMissingCorrection=0")) << readFile(iniFile());
}

// Any nonzero number suppresses the question, also a negative one or one beyond 64 bits; the
// key keeps its value in the file and nothing about it is an error.
TEST_F(CorrectionData, AnyNonzeroNumberSuppressesTheQuestionAndIsKept) {
    for (const std::string value : {"01", "-1", "99999999999999999999"}) {
        writeIni("[CONFIG]\nSuppressWarnOnMissingCorrection=" + value + "\n");
        TQ4_HANDLE& h = open();
        EXPECT_TRUE(asked.empty()) << value;
        EXPECT_TRUE(iniHas("SuppressWarnOnMissingCorrection=" + value + "\n")) << readFile(iniFile());
        EXPECT_EQ(count("SuppressWarnOnMissingCorrection"), 0) << dump();
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    }
}

TEST_F(CorrectionData, WithoutADesktopNobodyIsAskedAndTheQuestionIsLogged) {
    given = platform::Answer::NobodyAsked;
    open();
    EXPECT_EQ(count("Device::loadCorrectionData: no desktop to ask <" + std::string(kCaption) +
                    ">: No correction data found. To download camera specific correction data, please run the "
                    "download tool <zevo.quillonSWIR.exe> and follow the instructions. \\r\\n\\r\\nOpen download "
                    "tool now?\\r\\n\\r\\n\\tClick \"No\" to continue without -- taken as No."),
              1)
        << dump();
    EXPECT_EQ(count("User denied running zevo.quillonSWIR.exe"), 1);
}

// The reference the parameter names is deleted and made anew; the answer is the 8-byte header
// with its checksum taken before the success flag.
TEST_F(CorrectionData, GenerateRecreatesTheReferenceItsParameterNames) {
    TQ4_HANDLE& h = open();
    for (const auto& [parameter, suffix, kind] :
         {std::tuple{1, "_w16", 1}, std::tuple{0, "_b16", 0}, std::tuple{2, "_b16", 0}}) {
        writeFile(reference(suffix), "stale");
        const Answer answer = ask(h, SWIR_GENERATE_CORRECTION_DATA, parameter);
        ASSERT_EQ(answer.result, ZEVO_NOERROR) << dump();
        const std::string file = readFile(reference(suffix));
        ASSERT_GT(file.size(), 32u) << parameter;
        EXPECT_EQ(file.substr(0, 8), "ZVNUCREF");
        EXPECT_EQ(u32(reinterpret_cast<const uint8_t*>(file.data()) + 12), uint32_t(kind));
        const std::vector<uint8_t> expected{0x1F, 0x30, 8, 0, 0, 0, 0, uint8_t(0x1F + 0x30 + 8)};
        std::vector<uint8_t> header(answer.bytes.begin(), answer.bytes.begin() + 8);
        EXPECT_EQ(u16(header.data()), SWIR_GENERATE_CORRECTION_DATA | 0x0080);
        header[0] = 0x1F;
        EXPECT_EQ(header, expected);
    }
    EXPECT_TRUE(logged("Device::do_SWIR_GENERATE_CORRECTION_DATA: dynamic resolution: 16 bits.", log::kError));
    ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);

    // A reference the camera cannot save answers with the failure flags; no file is written.
    fs::remove(reference("_b16"));
    const Answer unsaved =
        ask(camera("remove_features = NUCBlackReferenceSave\n"), SWIR_GENERATE_CORRECTION_DATA, kBlack);
    EXPECT_EQ(unsaved.result, ZEVO_ERROR_DRIVER_CREATEEVENT);
    EXPECT_EQ(u16(unsaved.bytes.data()), SWIR_GENERATE_CORRECTION_DATA | 0x00C0);
    EXPECT_TRUE(logged("Device::do_SWIR_GENERATE_CORRECTION_DATA: save reference <black> failed.", log::kError));
    EXPECT_FALSE(fs::exists(reference("_b16")));
}

// Yes: the camera is closed for the download tool (found on the producer search path without
// ".exe"), the tool runs, and the caller learns that the camera is not open.
TEST_F(CorrectionData, YesClosesTheCameraAndStartsTheDownloadTool) {
    const fs::path tools = root_ / "tools", ran = root_ / "tool ran";
    const fs::path tool = tools / (std::string("zevo.quillonSWIR") + fs::path(TQ4_TOOL_STUB).extension().string());
    fs::create_directories(tools);
    fs::copy_file(TQ4_TOOL_STUB, tool);
    ::setenv("TQ4_TOOL_RAN", ran.string().c_str(), 1);
    ::setenv("GENICAM_GENTL64_PATH", searchPathOf({TQ4_SIM_DIR, tools.string()}).c_str(), 1);
    given = platform::Answer::Yes;

    TQ4_HANDLE h = nullptr;
    EXPECT_EQ(Open_Cam(0, &h), ZEVO_ERROR_OPEN_FAILED);
    EXPECT_EQ(h, nullptr);
    EXPECT_TRUE(logged("Device::loadCorrectionData: close and run subprocess: " + tool.string(), log::kProgress))
        << dump();
    EXPECT_TRUE(logged("Device::close: Closed device with ID <ZEVO_quillon_3101>", log::kProgress));
    for (int i = 0; i < 500 && !fs::exists(ran); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(fs::exists(ran));
    EXPECT_FALSE(iniHas("SuppressWarnOnMissingCorrection")) << "not saved when the tool runs";

    given = platform::Answer::No;
    open();  // the camera is free for the caller again
}

// Bad surroundings cost the correction data, never the open, and lose nothing.
TEST_F(CorrectionData, FolderInTheWayOrUnwritableIniStillOpen) {
    writeFile(correctionFolder(), "a file where the folder belongs");
    TQ4_HANDLE& first = open();
    EXPECT_TRUE(
        logged("Device::loadCorrectionData: Create correction directory failed: <" + correctionFolder().string() + ">",
               log::kError));
    EXPECT_TRUE(asked.empty());
    ASSERT_EQ(Close_Cam(&first), ZEVO_NOERROR);

    fs::remove(correctionFolder());
    fs::create_directories(reference("_b16") / "not a reference");
    const std::string ini = "[CONFIG]\nProducerName = ZEVO.cti\n; the user's own note\n";
    writeIni(ini);
    // The file is replaced through a temporary file beside it; a folder in its place stops the write.
    fs::create_directories(iniFile().string() + ".tmp" + std::to_string(platform::currentProcessId()));
    TQ4_HANDLE& second = open();
    EXPECT_TRUE(
        logged("Device::loadCorrectionData: Black reference not available: <" + reference("_b16").string() + ">",
               log::kError));
    EXPECT_EQ(count("writeIniValue: cannot write [CONFIG] SuppressWarnOnMissingCorrection"), 1) << dump();
    EXPECT_EQ(readFile(iniFile()), ini);

    // Taking a reference where a folder with content stands fails the call, and the folder stays.
    EXPECT_EQ(ask(second, SWIR_GENERATE_CORRECTION_DATA, kBlack).result, ZEVO_ERROR_DRIVER_NODRIVER);
    EXPECT_TRUE(fs::is_directory(reference("_b16") / "not a reference"));
}

}  // namespace
}  // namespace tq4::test
