// tq4_genicam.dll as the camera SDK meets it: deployed beside its "genicam" folder, with the
// engine's DLLs nowhere else on the search path, opening the simulated camera or refusing at
// once when an engine file is missing.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/Platform.h"
#include "support/TestFolder.h"
#include "tq4_genicam.h"

namespace tq4::test {
namespace {

namespace fs = std::filesystem;
using OpenCam = uint32_t (*)(uint32_t, TQ4_HANDLE*);
using CloseCam = uint32_t (*)(TQ4_HANDLE*);

class DllTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(deploy_ / "genicam");
        fs::copy_file(TQ4_DLL, deploy_ / "tq4_genicam.dll");
        for (const auto& entry : fs::directory_iterator(TQ4_ENGINE_BIN))
            if (entry.path().extension() == ".dll")
                fs::copy_file(entry.path(), deploy_ / "genicam" / entry.path().filename());
        fs::create_directories(fs::path(folder_.path()) / "zevo");
        writeFile(logPath(), "");
        // Nothing but the "genicam" folder offers the engine.
        platform::setEnvironment("PATH", "C:\\windows\\system32;C:\\windows");
        platform::setEnvironment("GENICAM_GENTL64_PATH", TQ4_SIM_DIR);
    }
    void TearDown() override {
        if (library_) platform::unloadModule(library_);
    }
    std::string logPath() const { return (fs::path(folder_.path()) / "zevo" / "tq4_genicam.log").string(); }
    uint32_t open(TQ4_HANDLE& handle) {
        library_ = platform::loadModule((deploy_ / "tq4_genicam.dll").string());
        if (!library_) return ~0u;
        auto openCam = reinterpret_cast<OpenCam>(platform::moduleSymbol(library_, "Open_Cam"));
        return openCam ? openCam(0, &handle) : ~0u;
    }

    TestFolder folder_;
    fs::path deploy_ = fs::path(folder_.path()) / "deploy";
    platform::ModuleHandle library_ = nullptr;
};

TEST_F(DllTest, MissingEngineFileRefusesTheOpenBeforeAnyProducerIsTouched) {
    fs::remove(deploy_ / "genicam" / "libxml2.dll");
    TQ4_HANDLE handle = nullptr;
    EXPECT_EQ(open(handle), ZEVO_ERROR_OPEN_NOGENICAM);
    const std::string log = readFile(logPath());
    EXPECT_NE(log.find("ERROR: genicam file libxml2.dll not available"), std::string::npos) << log;
    EXPECT_EQ(log.find("GenTLModule"), std::string::npos) << log;
}

TEST_F(DllTest, EngineIsLoadedFromTheGenicamFolderBesideTheDll) {
    TQ4_HANDLE handle = nullptr;
    ASSERT_EQ(open(handle), ZEVO_NOERROR) << readFile(logPath());
    auto closeCam = reinterpret_cast<CloseCam>(platform::moduleSymbol(library_, "Close_Cam"));
    EXPECT_EQ(closeCam(&handle), ZEVO_NOERROR);
    std::string engine;
    ASSERT_TRUE(platform::modulePathOf(
        platform::moduleSymbol(platform::loadModule("libaravis-0.8-0.dll"), "arv_gc_new"), engine));
    EXPECT_EQ(fs::path(engine).parent_path(), deploy_ / "genicam");
}

}  // namespace
}  // namespace tq4::test
