// The log facility: mask, prefix columns, parameter file, and the shared file under load.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>
#include <regex>
#include <thread>

#include "foundation/RunHelper.h"
#include "log/Log.h"
#include "support/TestFolder.h"

namespace tq4::test {
namespace {

class LogTest : public ::testing::Test {
protected:
    void start(const std::string& parameters, bool withLogFile = true) {
        if (!parameters.empty()) writeFile(paramFile(), parameters);
        if (withLogFile) writeFile(logFile(), "");
        log::init_logging(
            {"tq4_genicam", folder.path(), paramFile(), "1,9,0,0", "GenICam_Driver (64bit)", "Apr 17 2025", ""});
    }
    void TearDown() override {
        log::exit_logging();
        log::setLineObserver(nullptr);
    }
    void logOneOfEachClass() {
        for (uint32_t cls : {0u, 1u, 2u, 4u, 8u, 0x20u}) TQ4_LOG(cls, nullptr, "message of class %u", cls);
    }
    // Lines after the start banner, i.e. those the line call wrote.
    std::vector<std::string> loggedLines() {
        std::vector<std::string> lines;
        for (const std::string& line : splitLines(readFile(logFile())))
            if (line.find("message of class") != std::string::npos) lines.push_back(line);
        return lines;
    }
    void observe() {
        log::setLineObserver([this](uint32_t, const std::string& message) {
            std::lock_guard<std::mutex> lock(observedMutex);
            observed.push_back(message);
        });
    }
    std::string paramFile() const { return folder.file("param.ini"); }
    std::string logFile() const { return folder.file("tq4_genicam.log"); }
    TestFolder folder;
    std::mutex observedMutex;
    std::vector<std::string> observed;
};

TEST_F(LogTest, DefaultMaskWritesOnlyErrorLinesAndMissingParameterFileKeepsDefaults) {
    observe();
    EXPECT_EQ(log::get_logparam(folder.file("missing.ini")), 0xA0000004u);
    start("");
    EXPECT_EQ(log::log_bits(), 1u);
    logOneOfEachClass();
    EXPECT_EQ(loggedLines(), (std::vector<std::string>{"ERROR: message of class 0", "ERROR: message of class 1"}));
    // The observer hears every message, whatever the mask.
    std::lock_guard<std::mutex> lock(observedMutex);
    EXPECT_EQ(std::count_if(observed.begin(), observed.end(),
                            [](const std::string& m) { return m.find("message of class") == 0; }),
              6);
    std::string text = readFile(logFile());
    EXPECT_NE(text.find("Log library Version: 1,1,0,24 created Mar 27 2025\r\n"), std::string::npos);
    EXPECT_NE(text.find("GenICam_Driver (64bit) Version: 1,9,0,0 created Apr 17 2025"), std::string::npos);
    EXPECT_NE(text.find("\r\nLogfile: " + logFile()), std::string::npos);
}

TEST_F(LogTest, HexMaskWithCommentsAddsClassTwoAndTimeColumn) {
    start("[Logging]\nlogging=0x1003 // errors, progress, time\n// LOGGING=0xFFFF ignored\n");
    EXPECT_EQ(log::log_bits(), 0x1003u);
    logOneOfEachClass();
    std::vector<std::string> lines = loggedLines();
    ASSERT_EQ(lines.size(), 3u);
    const std::regex time("^\\d\\d:\\d\\d:\\d\\d\\.\\d{3} ");
    EXPECT_TRUE(std::regex_search(lines[0], std::regex("^\\d\\d:\\d\\d:\\d\\d\\.\\d{3} ERROR: message of class 0$")));
    EXPECT_TRUE(std::regex_search(lines[2], std::regex("^\\d\\d:\\d\\d:\\d\\d\\.\\d{3} message of class 2$")));
}

TEST_F(LogTest, ColumnsFollowTheirOrderAndDecimalKeysAndPathAreRead) {
    std::filesystem::create_directories(folder.file("Logs"));
    writeFile(folder.file("Logs/tq4_genicam.log"), "");
    // Delta, handle and thread columns; the path keeps its case though keys are case-blind.
    start("loGGing=26625\nflushlines=5\nLOGFILELEN=0X100000\nlogfilepath=" + folder.file("Logs") + "\n", false);
    EXPECT_EQ(log::log_bits(), 0x6801u);
    EXPECT_EQ(log::log_file_path(), joinPath(folder.file("Logs"), "tq4_genicam.log"));
    TQ4_LOG(log::kError, reinterpret_cast<const void*>(uintptr_t{0x12345}), "message of class 1");
    auto lines = splitLines(readFile(folder.file("Logs/tq4_genicam.log")));
    auto line = std::find_if(lines.begin(), lines.end(),
                             [](const std::string& l) { return l.find("message of class 1") != std::string::npos; });
    ASSERT_NE(line, lines.end());
    EXPECT_TRUE(
        std::regex_match(*line, std::regex("^ +\\d+\\.\\d{3}ms 0x2345 0x[0-9a-f]{4,} ERROR: message of class 1$")))
        << *line;
}

TEST_F(LogTest, GarbageParameterFileKeepsDefaultsAndNoLogFileMeansNoOutput) {
    std::string garbage = "\x01\xff LOGGING=zz";
    garbage += '\0';
    garbage += " FLUSHLINES= // LOGTHREAD=";
    start(garbage, false);
    EXPECT_EQ(log::log_bits(), 1u);
    TQ4_LOG(log::kError, nullptr, "nobody reads this");
    EXPECT_FALSE(std::filesystem::exists(logFile()));
}

// Every line counts toward the length limit, also the lines that trigger a flush: with a flush
// every second line, a limit of ten lines' bytes is crossed about every ten lines.
TEST_F(LogTest, EveryLineCountsTowardTheLengthLimit) {
    const std::string message = "a line of forty bytes with its ends";  // "ERROR: " + 35 + "\r\n"
    start("LOGGING=0x100001\nLOGTHREAD=0\nFLUSHLINES=2\nLOGFILELEN=" + std::to_string(10 * 44) + "\n");
    for (int i = 0; i < 200; ++i) TQ4_LOG(log::kError, nullptr, "%s", message.c_str());
    const std::vector<std::string> lines = splitLines(readFile(logFile()));
    const auto crossings = std::count_if(lines.begin(), lines.end(), [](const std::string& l) {
        return l.find("gl_LogGlobalPar->copylen >log_filelen") != std::string::npos;
    });
    EXPECT_GE(crossings, 14);  // counting only every second line gives 9
    EXPECT_LE(crossings, 20);
}

// Two processes log into one file whose length limit is a few lines: the file is copied
// aside again and again, and every line ends up whole in exactly one of the files.
TEST_F(LogTest, TwoProcessesShareTheFileAndCopiesLoseNoLine) {
    writeFile(paramFile(), "LOGGING=0x1\nLOGFILELEN=1500\nFLUSHLINES=40\n");
    writeFile(logFile(), "");
    const std::string env = "TQ4_SHM_SUFFIX=" + folder.suffix();
    const std::string args = folder.path() + " " + paramFile() + " 250 ";
    runHelper(env, "log " + args + "A; touch " + folder.file("A.done"), true);
    EXPECT_EQ(runHelper(env, "log " + args + "B"), 0);
    for (int i = 0; i < 1000 && !std::filesystem::exists(folder.file("A.done")); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));

    const std::regex copyName("tq4_genicam_\\d{4}-\\d\\d-\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\d{3}\\.log");
    const std::regex wholeLine("ERROR: line [AB] \\d{4} abcdefghijklmnopqrstuvwxyz");
    std::map<std::string, int> seen;
    int copies = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("tq4_genicam", 0) != 0) continue;
        if (std::regex_match(name, copyName)) ++copies;
        for (const std::string& line : splitLines(readFile(entry.path().string()))) {
            if (line.find("line ") == std::string::npos || line.find("ERROR") == std::string::npos) continue;
            EXPECT_TRUE(std::regex_match(line, wholeLine)) << "split line: " << line;
            ++seen[line];
        }
    }
    EXPECT_GE(copies, 1);
    EXPECT_EQ(seen.size(), 500u);
    for (const auto& [line, count] : seen) EXPECT_EQ(count, 1) << line;
    std::string live = readFile(logFile());
    EXPECT_EQ(live.rfind(logFile() + "\r\nlogfile continued at ", 0), 0u) << live.substr(0, 200);
}

}  // namespace
}  // namespace tq4::test
