// Two processes use the library at once, each streaming from its own camera, both logging into
// the one shared log file, which is copied aside again and again: every numbered line of both
// ends up whole in exactly one of the files, and both cameras stream.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <regex>
#include <string>
#include <thread>

#include "foundation/RunHelper.h"
#include "support/TestFolder.h"

namespace tq4::test {
namespace {

constexpr int kImages = 1000;
constexpr int kLines = 3000;

TEST(ProcessesTest, TwoProcessesStreamAndShareTheLog) {
    TestFolder folder;
    const std::string data = folder.file("zevo");
    // A short log file: copied aside every few hundred lines while both processes write.
    writeFile(data + "/tq4_genicam_param.ini", "LOGGING=0x7\nLOGFILELEN=60000\nFLUSHLINES=20\n");
    writeFile(data + "/tq4_genicam.log", "");
    std::string env =
        "TQ4_COMMON_APPDATA=" + folder.path() + " TQ4_SHM_SUFFIX=" + folder.suffix() +
        " GENICAM_GENTL64_PATH=" TQ4_SIM_DIR " TQ4_QUESTION_ANSWER=no ZEVO_SIM_CONFIG=" + folder.file("sim.cfg");
    writeFile(folder.file("sim.cfg"), "unlimited_frame_rate = 1\n");
    const std::string args = " " + std::to_string(kImages) + " " + std::to_string(kLines);
    runHelper("cd " + folder.path() + " && " + env, "1" + args + "; echo $? > " + folder.file("first.done"), true);
    EXPECT_EQ(runHelper("cd " + folder.path() + " && " + env, "2" + args), 0);
    for (int i = 0; i < 6000 && !std::filesystem::exists(folder.file("first.done")); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(readFile(folder.file("first.done")), "0\n");

    std::vector<std::string> files;
    const auto seen = logLines(data, "size_in -", &files);
    std::printf("log files: %zu, numbered lines: %zu\n", files.size(), seen.size());
    EXPECT_GE(files.size(), 2u) << "no copy aside";
    EXPECT_EQ(seen.size(), 2u * kLines);
    for (const auto& [line, count] : seen) {
        EXPECT_TRUE(std::regex_match(line, std::regex("ERROR: Control_Command: wrong value size_in -[12]\\d{6}")))
            << line;
        EXPECT_EQ(count, 1) << line;
    }
}

}  // namespace
}  // namespace tq4::test
