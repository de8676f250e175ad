// Helper program for the foundation tests: work that needs a process of its own.
//   attach <library> <report file> [<release file>]
//       loads the driver library, writes the shared block's attach count and paths into the
//       report file, and (with a release file) stays loaded until that file appears.
//   log <folder> <parameter file> <lines> <tag>
//       starts the log facility and logs numbered error lines, one per millisecond.
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

#include "config/SharedBlockLayout.h"
#include "log/Log.h"
#include "platform/Platform.h"

namespace {

void writeReport(const std::string& reportFile) {
    std::ofstream out(reportFile, std::ios::binary | std::ios::trunc);
    auto shared =
        tq4::platform::SharedBlock::openOrCreate(tq4::config::kDriverBlockName, tq4::config::kDriverBlockSize);
    if (!shared || shared->createdByThisProcess()) {
        out << "count=unavailable\n";
        if (shared) tq4::platform::SharedBlock::unlink(tq4::config::kDriverBlockName);
        return;
    }
    const auto* block = static_cast<const tq4::config::DriverSharedBlock*>(shared->data());
    out << "count=" << block->attachCount << "\nlog=" << block->logPath << "\nini=" << block->iniPath
        << "\nfolder=" << block->dataFolder << "\n";
}

int attach(int argc, char** argv) {
    if (argc < 4) return 2;
    tq4::platform::ModuleHandle library = tq4::platform::loadModule(argv[2]);
    if (!library) {
        std::fprintf(stderr, "%s\n", tq4::platform::lastModuleError().c_str());
        return 3;
    }
    writeReport(argv[3]);
    if (argc > 4) {
        for (int i = 0; i < 3000 && !tq4::platform::fileExists(argv[4]); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    tq4::platform::unloadModule(library);
    return 0;
}

int logLines(int argc, char** argv) {
    if (argc < 6) return 2;
    tq4::log::StartInfo info{"tq4_genicam", argv[2], argv[3], "1,9,0,0", "GenICam_Driver (64bit)", "Apr 17 2025", ""};
    tq4::log::init_logging(info);
    const int lines = std::stoi(argv[4]);
    for (int i = 0; i < lines; ++i) {
        TQ4_LOG(tq4::log::kError, nullptr, "line %s %04d abcdefghijklmnopqrstuvwxyz", argv[5], i);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    tq4::log::exit_logging();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "attach") return attach(argc, argv);
    if (mode == "log") return logLines(argc, argv);
    return 2;
}
