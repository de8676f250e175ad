// The configuration file: read with write-back, case-blind keys, whole-file replacement.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "config/Config.h"
#include "support/TestFolder.h"

namespace tq4::test {
namespace {

class ConfigTest : public ::testing::Test {
protected:
    std::string ini() const { return folder.file("tq4_genicam_param.ini"); }
    TestFolder folder;
};

TEST_F(ConfigTest, MissingKeysAreWrittenBackAndKeysAreCaseBlind) {
    EXPECT_EQ(config::readIniValue(ini(), "CONFIG", "ProducerName", "ZEVO.cti", false), "ZEVO.cti");
    EXPECT_FALSE(std::filesystem::exists(ini()));
    EXPECT_EQ(config::readIniValue(ini(), "CONFIG", "ProducerName", "ZEVO.cti", true), "ZEVO.cti");
    EXPECT_EQ(config::readIniValue(ini(), "config", "PRODUCERNAME", "other", true), "ZEVO.cti");
    EXPECT_TRUE(config::writeIniValue(ini(), "MEMORY", "DMALength", "1048576"));
    EXPECT_EQ(config::findIniValue(ini(), "memory", "dmalength"), "1048576");
    EXPECT_EQ(config::findIniValue(ini(), "MEMORY", "Missing"), std::nullopt);
    std::string text = readFile(ini());
    EXPECT_NE(text.find("[CONFIG]"), std::string::npos);
    EXPECT_NE(text.find("ProducerName=ZEVO.cti"), std::string::npos);  // no blanks: the log reads this file
    // Writing the value the file holds does not replace the file (every open writes some keys back).
    const auto longAgo = std::filesystem::last_write_time(ini()) - std::chrono::hours(24);
    std::filesystem::last_write_time(ini(), longAgo);
    EXPECT_TRUE(config::writeIniValue(ini(), "CONFIG", "ProducerName", "ZEVO.cti"));
    EXPECT_EQ(std::filesystem::last_write_time(ini()), longAgo);
}

TEST(ConfigSwitch, AnyWholeNumberIsASwitchOnWhenADigitIsNotZero) {
    for (const char* on : {"1", " -1 ", "+007", "99999999999999999999"}) EXPECT_EQ(config::switchValue(on), true) << on;
    for (const char* off : {"0", "-0", "000"}) EXPECT_EQ(config::switchValue(off), false) << off;
    for (const char* bad : {"", "-", "yes", "1x", "0x1"}) EXPECT_EQ(config::switchValue(bad), std::nullopt) << bad;
}

TEST_F(ConfigTest, UnreadableFileIsNeverReplacedAndWritersLeaveNoPartialFile) {
    std::filesystem::create_directories(ini());
    EXPECT_EQ(config::readIniValue(ini(), "CONFIG", "ProducerName", "ZEVO.cti", true), "ZEVO.cti");
    EXPECT_FALSE(config::writeIniValue(ini(), "CONFIG", "ProducerName", "A.cti"));
    EXPECT_TRUE(std::filesystem::is_directory(ini()));
    std::filesystem::remove(ini());

    // Many threads rewriting keys: the file always parses and holds every key in the end.
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t)
        writers.emplace_back([this, t] {
            for (int i = 0; i < 25; ++i)
                config::writeIniValue(ini(), "FEATURE", "Key" + std::to_string(t), std::to_string(i));
        });
    for (auto& writer : writers) writer.join();
    for (int t = 0; t < 4; ++t)
        EXPECT_EQ(config::readIniValue(ini(), "FEATURE", "Key" + std::to_string(t), "", false), "24");
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        EXPECT_EQ(entry.path().filename(), "tq4_genicam_param.ini") << "left behind: " << entry.path();
}

TEST_F(ConfigTest, PathsWithoutSharedBlockFollowTheApplicationDataFolder) {
    config::Paths paths = config::paths();
    EXPECT_EQ(paths.dataFolder, folder.file("zevo"));
    EXPECT_EQ(paths.iniFile, joinPath(folder.file("zevo"), "tq4_genicam_param.ini"));
    EXPECT_EQ(paths.logFile, joinPath(folder.file("zevo"), "tq4_genicam.log"));
    EXPECT_EQ(config::dataDirectory(), joinPath(joinPath(folder.file("zevo"), "genicam"), ""));
    EXPECT_TRUE(std::filesystem::is_directory(folder.file("zevo/genicam")));
}

}  // namespace
}  // namespace tq4::test
