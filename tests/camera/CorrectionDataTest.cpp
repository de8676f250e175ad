// Correction references at open and SWIR_GENERATE_CORRECTION_DATA, on the simulated camera
// (serial 3101, Mono16 after open: files 3101_b16 and 3101_w16). The simulated camera forgets
// its references when the producer is unloaded, which the last Close_Cam does: what a later
// open finds comes from the files.
#include "camera/CameraWorld.h"

#include <chrono>
#include <thread>

namespace tq4::test {
namespace {

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
    void takeReferences(std::initializer_list<uint16_t> kinds) {
        TQ4_HANDLE& h = open();
        for (uint16_t kind : kinds)
            ASSERT_EQ(ask(h, SWIR_GENERATE_CORRECTION_DATA, kind).result, ZEVO_NOERROR) << dump();
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
        questions().clear();
        clearLines();
    }

    bool iniHas(const std::string& text) { return readText(iniFile()).find(text) != std::string::npos; }
};

TEST_F(CorrectionData, NoReferencesAskWithTheGeneralTextAndNoKeepsTheCameraOpen) {
    open();
    ASSERT_EQ(questions().size(), 1u);
    EXPECT_EQ(questions()[0].caption, kCaption);
    EXPECT_EQ(questions()[0].text, kNoneText);
    EXPECT_TRUE(
        logged("Device::loadCorrectionData: User denied running zevo.quillonSWIR.exe. Continue without "
               "correction data!",
               log::kError));
    EXPECT_TRUE(logged("Device::loadCorrectionData: Mode <Off>", log::kProgress)) << dump();
    EXPECT_TRUE(iniHas("SuppressWarnOnMissingCorrection=0")) << readFile(iniFile());
}

TEST_F(CorrectionData, BothReferencesGiveBothWithoutAQuestion) {
    takeReferences({kBlack, kWhite});
    ASSERT_TRUE(fs::is_regular_file(reference("_b16")));
    ASSERT_TRUE(fs::is_regular_file(reference("_w16")));
    open();
    EXPECT_TRUE(questions().empty());
    EXPECT_TRUE(logged("Device::loadCorrectionData: Mode <Both>", log::kProgress)) << dump();
}

TEST_F(CorrectionData, OnlyBlackSelectsBlackOnlyAndAsksForWhite) {
    takeReferences({kBlack});
    open();
    ASSERT_EQ(questions().size(), 1u);
    EXPECT_EQ(questions()[0].text, kNoWhiteText);
    EXPECT_TRUE(
        logged("Device::loadCorrectionData: White reference not available: <" + reference("_w16").string() + ">",
               log::kError));
    EXPECT_TRUE(logged("Device::loadCorrectionData: Mode <BlackReferenceOnly>", log::kProgress)) << dump();
}

// Any nonzero number suppresses the question, also a negative one or one beyond 64 bits; the
// key keeps its value in the file and nothing about it is an error.
TEST_F(CorrectionData, AnyNonzeroNumberSuppressesTheQuestionAndIsKept) {
    for (const std::string value : {"01", "-1", "99999999999999999999"}) {
        writeIni("[CONFIG]\nSuppressWarnOnMissingCorrection=" + value + "\n");
        TQ4_HANDLE& h = open();
        EXPECT_TRUE(questions().empty()) << value;
        EXPECT_TRUE(iniHas("SuppressWarnOnMissingCorrection=" + value + "\n")) << readFile(iniFile());
        EXPECT_EQ(count("SuppressWarnOnMissingCorrection"), 0) << dump();
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    }
}

TEST_F(CorrectionData, WithoutADesktopNobodyIsAskedAndTheQuestionIsLogged) {
    answer() = platform::Answer::NobodyAsked;
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
}

TEST_F(CorrectionData, UnsavedReferenceAnswersWithTheFailureFlags) {
    configure("remove_features = NUCBlackReferenceSave\n");
    TQ4_HANDLE& h = open();
    const Answer answer = ask(h, SWIR_GENERATE_CORRECTION_DATA, kBlack);
    EXPECT_EQ(answer.result, ZEVO_ERROR_DRIVER_CREATEEVENT);
    EXPECT_EQ(u16(answer.bytes.data()), SWIR_GENERATE_CORRECTION_DATA | 0x00C0);
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
    answer() = platform::Answer::Yes;

    TQ4_HANDLE h = nullptr;
    EXPECT_EQ(Open_Cam(0, &h), ZEVO_ERROR_OPEN_FAILED);
    EXPECT_EQ(h, nullptr);
    EXPECT_TRUE(logged("Device::loadCorrectionData: close and run subprocess: " + tool.string(), log::kProgress))
        << dump();
    EXPECT_TRUE(logged("Device::close: Closed device with ID <ZEVO_quillon_3101>", log::kProgress));
    for (int i = 0; i < 500 && !fs::exists(ran); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(fs::exists(ran));
    EXPECT_FALSE(iniHas("SuppressWarnOnMissingCorrection")) << "not saved when the tool runs";

    answer() = platform::Answer::No;
    open();  // the camera is free for the caller again
}

// Bad surroundings cost the correction data, never the open, and lose nothing.
TEST_F(CorrectionData, FolderInTheWayOrUnwritableIniStillOpen) {
    writeFile(correctionFolder(), "a file where the folder belongs");
    TQ4_HANDLE& first = open();
    EXPECT_TRUE(
        logged("Device::loadCorrectionData: Create correction directory failed: <" + correctionFolder().string() + ">",
               log::kError));
    EXPECT_TRUE(questions().empty());
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
