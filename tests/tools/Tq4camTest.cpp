// tq4cam as a user runs it: the built program against the simulated camera, its output, its
// exit codes and the files it writes, read back with libtiff, libpng and by hand.
#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "support/TestFolder.h"

namespace tq4::test {
namespace {

namespace fs = std::filesystem;

struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
};

class Tq4cam : public ::testing::Test {
protected:
    void SetUp() override {
        environment_ = "GENICAM_GENTL64_PATH='" + std::string(TQ4_SIM_DIR) + "' TQ4_COMMON_APPDATA='" + folder_.path() +
                       "' TQ4_SHM_SUFFIX='" + folder_.suffix() + "' TQ4_QUESTION_ANSWER=no ZEVO_SIM_CONFIG='" +
                       folder_.file("sim.cfg") + "'";
        writeFile(folder_.file("sim.cfg"), "");
    }

    // Runs tq4cam with `arguments` (which may go on with more shell commands) in the test's
    // folder; the output of the whole line is collected.
    Outcome run(const std::string& arguments, const std::string& extraEnvironment = "") {
        const std::string out = folder_.file("out.txt"), err = folder_.file("err.txt");
        const std::string command = "cd '" + folder_.path() + "' && (" + environment_ + " " + extraEnvironment + " " +
                                    TQ4CAM + " " + arguments + ") >'" + out + "' 2>'" + err + "'";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(out), readFile(err)};
    }

    // Exit code 1 and exactly one line on stderr that names the cause.
    void expectRefused(const Outcome& r, const std::string& cause) {
        EXPECT_EQ(r.exitCode, 1) << r.out << r.err;
        EXPECT_EQ(splitLines(r.err).size(), 1u) << r.err;
        EXPECT_EQ(r.err.rfind("tq4cam: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find(cause), std::string::npos) << r.err;
    }

    TestFolder folder_;
    std::string environment_;
};

// The frame id the camera stamps into the first four pixels as eight BCD digits, each digit
// pair in the top byte of a 16-bit LSB-aligned pixel.
long stampedId(const std::vector<uint16_t>& row) {
    long id = 0;
    for (int i = 0; i < 4; ++i) {
        const unsigned bcd = (row[i] >> 8) & 0xFF;
        id = id * 100 + (bcd >> 4) * 10 + (bcd & 0xF);
    }
    return id;
}

TEST_F(Tq4cam, GrabWritesSixteenBitTiffsThatCarryTheCamerasFrameIdsAndRate) {
    // Slow enough that a loaded machine (a sanitizer build beside other tests) still writes
    // each file before the next frame comes.
    writeFile(folder_.file("sim.cfg"), "max_fps.Mono16 = 5\n");
    const Outcome r = run("grab -n 10 -o frames --format tiff --timestamp binary");
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("frames written   10"), std::string::npos) << r.out;
    // The camera's rate, not the pace at which the first frames reached the files.
    const std::size_t rate = r.out.find("frame rate       mean ");
    ASSERT_NE(rate, std::string::npos) << r.out;
    EXPECT_NEAR(std::atof(r.out.c_str() + rate + 22), 5, 0.5) << r.out;
    long previous = 0;
    for (int i = 0; i < 10; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "frames/frame-%06d.tiff", i);
        TIFF* tiff = TIFFOpen(folder_.file(name).c_str(), "r");
        ASSERT_NE(tiff, nullptr) << name;
        uint32_t width = 0, height = 0;
        uint16_t bits = 0;
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
        TIFFGetField(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
        EXPECT_EQ(width, 1296u);
        EXPECT_EQ(height, 1032u);
        EXPECT_EQ(bits, 16);
        std::vector<uint16_t> row(width);
        ASSERT_EQ(TIFFReadScanline(tiff, row.data(), 0, 0), 1);
        TIFFClose(tiff);
        const long id = stampedId(row);
        EXPECT_GT(id, previous) << name << ": frame ids rise, as the camera numbered its frames";
        previous = id;
    }
    EXPECT_FALSE(fs::exists(folder_.file("frames/frame-000010.tiff")));

    // A second grab does not mix its frames with these: refused, or they are removed first.
    const Outcome again = run("grab -n 2 -o frames --format pgm");
    EXPECT_EQ(again.exitCode, 2);
    EXPECT_NE(again.err.find("frames already holds 10 frames of an earlier grab"), std::string::npos) << again.err;
    EXPECT_NE(again.err.find("--overwrite"), std::string::npos) << again.err;
    ASSERT_EQ(run("grab -n 2 -o frames --format pgm --overwrite").exitCode, 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_.file("frames")), fs::directory_iterator()), 2);
}

TEST_F(Tq4cam, PngAndPgmHaveTheImagesSizeAndRegion) {
    ASSERT_EQ(run("grab -n 2 -o png --format png").exitCode, 0);
    std::FILE* file = std::fopen(folder_.file("png/frame-000001.png").c_str(), "rb");
    ASSERT_NE(file, nullptr);
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_read_info(png, info);
    EXPECT_EQ(png_get_image_width(png, info), 1296u);
    EXPECT_EQ(png_get_image_height(png, info), 1032u);
    EXPECT_EQ(png_get_bit_depth(png, info), 8);
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    // A look at the image as a person would: kept beside the build.
    fs::create_directories(TQ4_ARTEFACTS);
    fs::copy_file(folder_.file("png/frame-000001.png"), std::string(TQ4_ARTEFACTS) + "/grab_frame.png",
                  fs::copy_options::overwrite_existing);

    // A region set on the way reaches the file; the data carries no time stamp unless asked.
    ASSERT_EQ(run("grab -n 1 -o pgm --format pgm --roi 1,1,640,480").exitCode, 0);
    const std::string pgm = readFile(folder_.file("pgm/frame-000000.pgm"));
    EXPECT_EQ(pgm.rfind("P5\n640 480\n65535\n", 0), 0u) << pgm.substr(0, 20);
    EXPECT_EQ(pgm.size(), 17u + 640u * 480u * 2u);
    EXPECT_NE(pgm.substr(17, 8), std::string("\0\0\0\0\0\0\x01\0", 8)) << "frame id 1 stamped as BCD";
}

TEST_F(Tq4cam, ListFeaturesGetAndSetShowTheCamera) {
    const Outcome list = run("list");
    ASSERT_EQ(list.exitCode, 0) << list.err;
    EXPECT_NE(list.out.find("camera 0   Orvanta ZEVO GmbH | zevo.quillon 1.3 SWIR | serial 3101 | free"),
              std::string::npos)
        << list.out;

    const Outcome features = run("features Exposure");
    ASSERT_EQ(features.exitCode, 0) << features.err;
    EXPECT_NE(features.out.find("ExposureTime                     Float       RW  5000 us  [10..1e+06] us"),
              std::string::npos)
        << features.out;

    const Outcome set = run("set Width=640 PixelFormat=Mono8");
    ASSERT_EQ(set.exitCode, 0) << set.err;
    EXPECT_NE(set.out.find("Width                            Integer     RW  640  [16..1296 step 8]"),
              std::string::npos)
        << set.out;
    EXPECT_NE(set.out.find("PixelFormat                      Enumeration RW  Mono8"), std::string::npos) << set.out;

    const Outcome get = run("get DeviceSerialNumber");
    EXPECT_EQ(get.out, "DeviceSerialNumber               String      RO  3101\n");
}

// With two cameras a number, or a serial number, names the same camera in the commands that go
// through the driver and in those that read features directly.
TEST_F(Tq4cam, NumberAndSerialNameOneCameraInEveryCommand) {
    writeFile(folder_.file("sim.cfg"), "devices_per_interface = 2\n");
    EXPECT_NE(run("--num 1 info").out.find("camera           1: ZEVO quillon SWIR (3102)"), std::string::npos);
    EXPECT_EQ(run("--num 1 get DeviceSerialNumber").out, "DeviceSerialNumber               String      RO  3102\n");
    EXPECT_NE(run("--serial 3101 control").out.find("camera           0: ZEVO quillon SWIR (3101)"), std::string::npos);
    EXPECT_NE(run("--serial 3102 grab -n 1 -o one --format pgm").out.find("camera 1: ZEVO quillon SWIR (3102)"),
              std::string::npos);
}

TEST_F(Tq4cam, EveryRefusalNamesItsCauseInOneLine) {
    expectRefused(run("get Nope"), "camera 0 has no feature 'Nope'");
    expectRefused(run("set SensorWidth=5"), "'SensorWidth' is not writable now");
    expectRefused(run("set Width=abc"), "'Width' does not take 'abc'");
    expectRefused(run("--num 5 get Width"), "there is no camera 5 (1 found through ZEVO.cti)");
    expectRefused(run("--serial 9999 info"), "there is no camera with serial 9999 (1 found through ZEVO.cti)");
    expectRefused(run("grab -n 1 -o /proc/tq4cam"), "cannot write into /proc/tq4cam");
    expectRefused(run("control --trigger sometimes"), "trigger is one of auto, software, external, width");
    expectRefused(run("control --binning 3"), "--binning 3 was not taken: the camera holds 1,1");
    expectRefused(run("control --exposure 5000s"), "--exposure 5000s is out of range: the camera takes 10 us to 1 s");
    expectRefused(run("features Expsoure"),
                  "no feature name contains 'Expsoure'; close: ExposureAuto, ExposureMode, ExposureTime");
    expectRefused(run("list", "GENICAM_GENTL64_PATH=/nonexistent"), "no GenTL producer");
    expectRefused(run("info", "GENICAM_GENTL64_PATH=/nonexistent"), "no producer of the list ZEVO.cti can be loaded");
    const Outcome help = run("grab --help");
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("--buffers"), std::string::npos);
}

TEST_F(Tq4cam, EveryArgumentErrorExitsWithTwo) {
    for (const char* arguments : {"--bogus", "grab", "grab -o x --format jpeg", "--num x info",
                                  "--num 1 --serial 3101 info", "raw 011", "raw 01100"})
        EXPECT_EQ(run(arguments).exitCode, 2) << arguments;
}

// Ctrl-C in the middle of a slow acquisition: every buffer comes back, the files written are
// whole, the summary is printed and the exit code says "interrupted".
TEST_F(Tq4cam, CtrlCEndsCleanlyWithCompleteFiles) {
    writeFile(folder_.file("sim.cfg"), "max_fps.Mono16 = 10\n");
    const Outcome r = run(
        "grab -n 1000 -o slow --format pgm & pid=$!; "
        "for i in $(seq 300); do [ -e slow/frame-000002.pgm ] && break; sleep 0.1; done; kill -INT $pid; wait $pid");
    EXPECT_EQ(r.exitCode, 130) << r.out << r.err;
    EXPECT_NE(r.out.find("interrupted: every buffer is back"), std::string::npos) << r.out;
    int files = 0;
    for (const auto& entry : fs::directory_iterator(folder_.file("slow"))) {
        EXPECT_EQ(entry.path().extension(), ".pgm") << "no half-written file is left";
        EXPECT_EQ(fs::file_size(entry.path()), 19u + 1296u * 1032u * 2u) << entry.path();
        ++files;
    }
    EXPECT_GT(files, 0);
    EXPECT_NE(r.out.find("frames written   " + std::to_string(files) + " "), std::string::npos) << r.out;
}

}  // namespace
}  // namespace tq4::test
