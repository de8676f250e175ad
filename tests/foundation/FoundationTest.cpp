// The foundation: platform services the driver relies on; the configuration file (read with
// write-back, case-blind keys, whole-file replacement); the log facility (mask, prefix columns,
// parameter file, the shared file under load); loading the driver library (the shared block
// across processes, files in the data folder, start-up in a hostile environment). Cases that
// need processes of their own run the helper program.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <regex>
#include <thread>

#include "config/Config.h"
#include "foundation/RunHelper.h"
#include "log/Log.h"
#include "platform/Platform.h"
#include "support/TestFolder.h"

namespace tq4::test {
namespace {

TEST(PlatformTest, EventStaysSetUntilResetAndWorksThroughItsHandle) {
    auto event = platform::Event::create();
    ASSERT_TRUE(event);
    EXPECT_FALSE(event->wait(10));
    event->set();
    event->set();
    EXPECT_TRUE(event->wait(0));
    EXPECT_TRUE(event->wait(0));  // manual reset: waiting does not consume it
    event->reset();
    EXPECT_FALSE(event->isSet());
    std::thread setter([handle = event->nativeHandle()] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        platform::setEventByHandle(handle);
    });
    EXPECT_TRUE(platform::waitEventByHandle(event->nativeHandle(), 5000));
    setter.join();
    EXPECT_TRUE(platform::resetEventByHandle(event->nativeHandle()));
    EXPECT_FALSE(event->isSet());
    EXPECT_FALSE(platform::setEventByHandle(-1));
}

// What the driver's own tests do not reach already: the refusals, and the timer period.
TEST(PlatformTest, FoldersFilesModulesAndProcessesRefuseWhatIsNotThere) {
    TestFolder folder;
    EXPECT_FALSE(platform::makeDirectory(folder.file("missing/parent")));
    EXPECT_FALSE(platform::AppendFile::open(folder.file("absent.txt"), false));
    platform::ModuleHandle library = platform::loadModule(TQ4_LIBRARY);
    ASSERT_TRUE(library) << platform::lastModuleError();
    std::string path;
    EXPECT_TRUE(platform::modulePathOf(platform::moduleSymbol(library, "ZEVO_GetVersionTQ4_Genicam"), path));
    EXPECT_EQ(std::filesystem::path(path).filename(), std::filesystem::path(TQ4_LIBRARY).filename());
    EXPECT_FALSE(platform::moduleSymbol(library, "NoSuchExport"));
    platform::unloadModule(library);
    EXPECT_FALSE(platform::startProcess(folder.file("no-such-program"), ""));
#if defined(_WIN32)
    ASSERT_TRUE(platform::requestTimerPeriod(2));
    platform::releaseTimerPeriod(2);
#else
    EXPECT_FALSE(platform::requestTimerPeriod(2));  // the clock here needs no period
#endif
}

TEST(PlatformTest, QuestionIsAnsweredByHandlerThenEnvironmentThenNobody) {
    platform::setEnvironment("TQ4_QUESTION_ANSWER", "yes");
    EXPECT_EQ(platform::askYesNo("t", "q"), platform::Answer::Yes);
    platform::setQuestionHandler([](const std::string&, const std::string&) { return platform::Answer::No; });
    EXPECT_EQ(platform::askYesNo("t", "q"), platform::Answer::No);
    platform::setQuestionHandler(nullptr);
    platform::setEnvironment("TQ4_QUESTION_ANSWER", "no");
    EXPECT_EQ(platform::askYesNo("t", "q"), platform::Answer::No);
#if !defined(_WIN32)
    // No answer set and no desktop: nobody is asked. (Windows always has a desktop to ask on.)
    const std::string display = platform::getEnvironment("DISPLAY");
    const std::string wayland = platform::getEnvironment("WAYLAND_DISPLAY");
    for (const char* name : {"TQ4_QUESTION_ANSWER", "DISPLAY", "WAYLAND_DISPLAY"}) platform::setEnvironment(name, "");
    EXPECT_EQ(platform::askYesNo("t", "q"), platform::Answer::NobodyAsked);
    platform::setEnvironment("DISPLAY", display);
    platform::setEnvironment("WAYLAND_DISPLAY", wayland);
#endif
}

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

class LogTest : public ::testing::Test {
protected:
    void start(const std::string& parameters, bool withLogFile = true) {
        if (!parameters.empty()) writeFile(paramFile(), parameters);
        if (withLogFile) writeFile(logFile(), "");
        log::init_logging(
            {"tq4_genicam", folder.path(), paramFile(), "1,9,0,0", "GenICam_Driver (64bit)", "Apr 17 2025", ""});
    }
    void TearDown() override { log::exit_logging(); }
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
    std::string paramFile() const { return folder.file("param.ini"); }
    std::string logFile() const { return folder.file("tq4_genicam.log"); }
    TestFolder folder;
};

TEST_F(LogTest, DefaultMaskWritesOnlyErrorLinesAndMissingParameterFileKeepsDefaults) {
    EXPECT_EQ(log::get_logparam(folder.file("missing.ini")), 0xA0000004u);
    start("");
    EXPECT_EQ(log::log_bits(), 1u);
    logOneOfEachClass();
    EXPECT_EQ(loggedLines(), (std::vector<std::string>{"ERROR: message of class 0", "ERROR: message of class 1"}));
    std::string text = readFile(logFile());
    EXPECT_NE(text.find("Log library Version: 1,1,0,24 created Mar 27 2025\r\n"), std::string::npos);
    EXPECT_NE(text.find("GenICam_Driver (64bit) Version: 1,9,0,0 created Apr 17 2025"), std::string::npos);
    EXPECT_NE(text.find("\r\nLogfile: " + logFile()), std::string::npos);
    log::exit_logging();

    // A garbage parameter file keeps the defaults; without a log file nothing is written.
    std::filesystem::remove(logFile());
    start(std::string("\x01\xff LOGGING=zz\0 FLUSHLINES= // LOGTHREAD=", 40), false);
    EXPECT_EQ(log::log_bits(), 1u);
    TQ4_LOG(log::kError, nullptr, "nobody reads this");
    EXPECT_FALSE(std::filesystem::exists(logFile()));
}

TEST_F(LogTest, HexMaskWithCommentsAddsClassTwoAndTimeColumn) {
    start("[Logging]\nlogging=0x1003 // errors, progress, time\n// LOGGING=0xFFFF ignored\n");
    EXPECT_EQ(log::log_bits(), 0x1003u);
    logOneOfEachClass();
    std::vector<std::string> lines = loggedLines();
    ASSERT_EQ(lines.size(), 3u);
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

    std::vector<std::string> files;
    const auto seen = logLines(folder.path(), "ERROR: line ", &files);
    const std::regex copyName("tq4_genicam_\\d{4}-\\d\\d-\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\d{3}\\.log");
    EXPECT_EQ(std::count_if(files.begin(), files.end(), [&](auto& f) { return std::regex_match(f, copyName); }),
              long(files.size()) - 1);
    EXPECT_GE(files.size(), 2u);
    EXPECT_EQ(seen.size(), 500u);
    for (const auto& [line, count] : seen) {
        EXPECT_TRUE(std::regex_match(line, std::regex("ERROR: line [AB] \\d{4} abcdefghijklmnopqrstuvwxyz"))) << line;
        EXPECT_EQ(count, 1) << line;
    }
    std::string live = readFile(logFile());
    EXPECT_EQ(live.rfind(logFile() + "\r\nlogfile continued at ", 0), 0u) << live.substr(0, 200);
}

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

// A file without the logging section gains it and keeps its other entries. The log level a
// user set survives the driver's own saves of the file, and a hand-edited file with blanks
// around "=" counts too: each start of the library reads the file afresh.
TEST_F(LibraryTest, IniGainsTheLoggingSectionAndTheLevelSetSurvivesSavesAndBlanks) {
    const std::string ini = zevo("tq4_genicam_param.ini");
    std::filesystem::create_directories(zevo());
    writeFile(ini, "[CONFIG]\nProducerName=A.cti:B.cti\n");
    load(folder.path(), folder.suffix());
    EXPECT_NE(readText(ini).find("[CONFIG]\nProducerName=A.cti:B.cti\n"), std::string::npos) << readFile(ini);
    EXPECT_NE(readText(ini).find("[Logging]\nLOGGING=0x1\n"), std::string::npos) << readFile(ini);
    for (const std::string text :
         {"[Logging]\nLOGGING=0x3\n", "[Logging]\nLOGGING = 0x3\n[CONFIG]\nProducerName = ZEVO.cti\n"}) {
        writeFile(ini, text);
        config::writeIniValue(ini, "CONFIG", "ProducerName", "ZEVO.cti");  // as every open does
        writeFile(zevo("tq4_genicam.log"), "");
        const std::string before = readFile(ini);
        load(folder.path(), folder.suffix());
        EXPECT_EQ(readFile(ini), before) << "an existing entry is kept";
        const std::string log = readFile(zevo("tq4_genicam.log"));
        EXPECT_NE(log.find("DllMain<DLL_PROCESS_ATTACH, # opened: 1>\r\n"), std::string::npos) << readFile(ini);
        EXPECT_NE(log.find("DllMain<DLL_PROCESS_DETACH, # opened: 0>: done.\r\n"), std::string::npos) << log;
        EXPECT_NE(log.find("Logging ended at "), std::string::npos);
    }
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
    EXPECT_EQ(readFile(zevo("tq4_genicam.txt")), kHintText) << "the hint file is made anew";
    writeFile(zevo("tq4_genicam.txt"), "edited");
    load(folder.path(), folder.suffix());
    EXPECT_EQ(readFile(zevo("tq4_genicam.txt")), "edited") << "an existing one is left alone";
}

}  // namespace
}  // namespace tq4::test
