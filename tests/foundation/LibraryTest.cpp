// Loading the driver library: shared block across processes, files in the data folder, and
// start-up in a hostile environment. Each case loads the library in helper processes.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <thread>

#include "config/Config.h"
#include "foundation/RunHelper.h"
#include "platform/Platform.h"
#include "support/TestFolder.h"

namespace tq4::test {
namespace {

const char kHintText[] =
    "Logging info: Rename this file to tq4_genicam.log in order to enable logging.\n"
    "              Logging consumes time and should not be enabled permanently.";

class LibraryTest : public ::testing::Test {
protected:
    // Loads the library in a helper process; returns its report as key/value pairs.
    std::map<std::string, std::string> load(const std::string& appData, const std::string& suffix,
                                            int* status = nullptr) {
        const std::string report = folder.file("report" + std::to_string(reports++) + ".txt");
        int result = runHelper(environment(appData, suffix), std::string("attach " TQ4_LIBRARY " ") + report);
        if (status) *status = result;
        return parseReport(report);
    }
    std::string environment(const std::string& appData, const std::string& suffix) const {
        return "TQ4_COMMON_APPDATA='" + appData + "' TQ4_SHM_SUFFIX='" + suffix + "'";
    }
    static std::map<std::string, std::string> parseReport(const std::string& file) {
        std::map<std::string, std::string> values;
        for (const std::string& line : splitLines(readFile(file))) {
            std::size_t eq = line.find('=');
            if (eq != std::string::npos) values[line.substr(0, eq)] = line.substr(eq + 1);
        }
        return values;
    }
    std::string zevo(const std::string& name = "") const {
        return name.empty() ? folder.file("zevo") : joinPath(folder.file("zevo"), name);
    }
    static void waitFor(const std::string& file) {
        for (int i = 0; i < 1000 && !std::filesystem::exists(file); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    TestFolder folder;
    int reports = 0;
};

TEST_F(LibraryTest, SecondProcessSeesAttachCountTwoAndKeepsTheFirstProcessPaths) {
    const std::string firstReport = folder.file("first.txt"), release = folder.file("release");
    runHelper(environment(folder.path(), folder.suffix()),
              std::string("attach " TQ4_LIBRARY " ") + firstReport + " " + release, true);
    waitFor(firstReport);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // report written completely
    auto first = parseReport(firstReport);
    EXPECT_EQ(first["count"], "1");
    EXPECT_EQ(first["folder"], zevo());
    EXPECT_EQ(first["log"], zevo("tq4_genicam.log"));
    EXPECT_EQ(first["ini"], zevo("tq4_genicam_param.ini"));

    // Another process with another application data folder still uses the first one's.
    const std::string otherAppData = folder.file("other");
    std::filesystem::create_directories(otherAppData);
    auto second = load(otherAppData, folder.suffix());
    EXPECT_EQ(second["count"], "2");
    EXPECT_EQ(second["folder"], first["folder"]);
    EXPECT_EQ(second["ini"], first["ini"]);
    EXPECT_FALSE(std::filesystem::exists(joinPath(otherAppData, "zevo")));

    writeFile(release, "");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    // The last unload removed the block: the next process starts afresh with its own folder.
    auto fresh = load(otherAppData, folder.suffix());
    EXPECT_EQ(fresh["count"], "1");
    EXPECT_EQ(fresh["folder"], joinPath(otherAppData, "zevo"));
}

TEST_F(LibraryTest, HintFileIsRecreatedExactlyAndAnExistingOneIsLeftAlone) {
    load(folder.path(), folder.suffix());
    EXPECT_EQ(readFile(zevo("tq4_genicam.txt")), kHintText);
    std::filesystem::remove(zevo("tq4_genicam.txt"));
    load(folder.path(), folder.suffix());
    EXPECT_EQ(readFile(zevo("tq4_genicam.txt")), kHintText);
    writeFile(zevo("tq4_genicam.txt"), "edited");
    load(folder.path(), folder.suffix());
    EXPECT_EQ(readFile(zevo("tq4_genicam.txt")), "edited");
}

TEST_F(LibraryTest, IniWithoutLoggingSectionGainsItAndKeepsItsOtherEntries) {
    std::filesystem::create_directories(zevo());
    writeFile(zevo("tq4_genicam_param.ini"), "[CONFIG]\nProducerName=A.cti:B.cti\n");
    load(folder.path(), folder.suffix());
    std::string ini = readFile(zevo("tq4_genicam_param.ini"));
    EXPECT_NE(ini.find("[Logging]"), std::string::npos) << ini;
    EXPECT_NE(ini.find("LOGGING=0x1"), std::string::npos) << ini;
    EXPECT_NE(ini.find("ProducerName=A.cti:B.cti"), std::string::npos) << ini;

    // An existing entry is kept, and logging with it shows the attach line.
    writeFile(zevo("tq4_genicam_param.ini"), "[Logging]\nLOGGING=0x3\n");
    writeFile(zevo("tq4_genicam.log"), "");
    load(folder.path(), folder.suffix());
    EXPECT_EQ(readFile(zevo("tq4_genicam_param.ini")), "[Logging]\nLOGGING=0x3\n");
    std::string log = readFile(zevo("tq4_genicam.log"));
    EXPECT_NE(log.find("DllMain<DLL_PROCESS_ATTACH, # opened: 1>\r\n"), std::string::npos) << log;
    EXPECT_NE(log.find("DllMain<DLL_PROCESS_DETACH, # opened: 0>: done.\r\n"), std::string::npos) << log;
    EXPECT_NE(log.find("Logging ended at "), std::string::npos);
}

// The log level a user set survives the driver's own saves of the ini file, and a hand-edited
// file with blanks around "=" counts too: each start of the library reads the file afresh.
TEST_F(LibraryTest, LoggingLevelSurvivesTheDriversSavesAndHandEditedBlanks) {
    const std::string ini = zevo("tq4_genicam_param.ini");
    const auto progressLinesAfterLoad = [&] {
        writeFile(zevo("tq4_genicam.log"), "");
        load(folder.path(), folder.suffix());
        return readFile(zevo("tq4_genicam.log")).find("DllMain<DLL_PROCESS_ATTACH, # opened: 1>") != std::string::npos;
    };
    std::filesystem::create_directories(zevo());
    writeFile(ini, "[Logging]\nLOGGING=0x3\n");
    config::writeIniValue(ini, "CONFIG", "ProducerName", "ZEVO.cti");  // as every open does
    EXPECT_TRUE(progressLinesAfterLoad()) << readFile(ini);

    writeFile(ini, "[Logging]\nLOGGING = 0x3\n[CONFIG]\nProducerName = ZEVO.cti\n");
    EXPECT_TRUE(progressLinesAfterLoad()) << readFile(ini);
}

TEST_F(LibraryTest, LoadsInAHostileEnvironmentWithoutCrashing) {
    int status = -1;
    // Application data folder is a plain file: no folder can be made below it.
    writeFile(folder.file("plainfile"), "x");
    auto report = load(folder.file("plainfile"), folder.suffix(), &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(report["count"], "1");

    // Unreadable ini (a folder in its place) is neither used nor replaced; the log says so.
    std::filesystem::create_directories(zevo("tq4_genicam_param.ini"));
    writeFile(zevo("tq4_genicam.log"), "");
    load(folder.path(), folder.suffix(), &status);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(std::filesystem::is_directory(zevo("tq4_genicam_param.ini")));
    EXPECT_NE(readFile(zevo("tq4_genicam.log")).find("ERROR: readIniValue: cannot read"), std::string::npos);

    // Garbage ini.
    std::filesystem::remove_all(zevo("tq4_genicam_param.ini"));
    std::string garbage(4096, '\0');
    for (std::size_t i = 0; i < garbage.size(); ++i) garbage[i] = static_cast<char>((i * 7919) % 251);
    writeFile(zevo("tq4_genicam_param.ini"), garbage);
    load(folder.path(), folder.suffix(), &status);
    EXPECT_EQ(status, 0);

    // No shared memory can be had (a name the system refuses): a process-local block.
    std::filesystem::remove(zevo("tq4_genicam.txt"));
    report = load(folder.path(), folder.suffix() + platform::pathSeparator() + "refused", &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(report["count"], "unavailable");
    EXPECT_EQ(readFile(zevo("tq4_genicam.txt")), kHintText);
}

}  // namespace
}  // namespace tq4::test
