// What happens when the driver library is loaded into a process and unloaded from it:
// the shared block, the data folder and its files, the log facility and the attach count.
#include "driver/Lifetime.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <thread>

#include "config/Config.h"
#include "config/SharedBlockLayout.h"
#include "log/Log.h"
#include "platform/Platform.h"

namespace tq4::driver {

using namespace tq4::config;
namespace {

constexpr unsigned kTimerPeriodMs = 2;
const char kHintText[] =
    "Logging info: Rename this file to tq4_genicam.log in order to enable logging.\n"
    "              Logging consumes time and should not be enabled permanently.";

struct Library {
    std::unique_ptr<platform::SharedBlock> shared;
    std::unique_ptr<DriverSharedBlock> local;  // when no shared block can be had
    DriverSharedBlock* block = nullptr;
    bool periodChanged = false;
    bool counted = false;  // this process is in the attach count
};

// In static storage and never destroyed: the unload hook may run after static destructors.
// Everything it holds on the heap is released by the unload itself.
Library& library() {
    alignas(Library) static unsigned char storage[sizeof(Library)];
    static Library* instance = new (storage) Library();
    return *instance;
}

void copyField(char* field, const std::string& text) {
    std::size_t length = std::min(text.size(), kBlockPathSize - 1);
    std::memcpy(field, text.data(), length);
    field[length] = '\0';
}

// The creator of the block decides the folder and the file paths for every process.
void settleFolder(DriverSharedBlock& block) {
    std::string folder = defaultDataFolder();
    if (!folder.empty() && !platform::makeDirectories(folder))
        std::fprintf(stderr, "tq4_genicam: cannot create the data folder %s\n", folder.c_str());
    Paths files = pathsForFolder(folder);
    copyField(block.dataFolder, files.dataFolder);
    copyField(block.logPath, files.logFile);
    copyField(block.iniPath, files.iniFile);
}

// A process that loads the library while the creator is still filling the block waits a
// moment for the paths; if they never come it settles its own.
void awaitFolder(DriverSharedBlock& block) {
    for (int i = 0; i < 500 && block.dataFolder[0] == '\0'; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    if (block.dataFolder[0] == '\0') settleFolder(block);
}

void mapSharedBlock(Library& lib) {
    lib.shared = platform::SharedBlock::openOrCreate(kDriverBlockName, kDriverBlockSize);
    if (lib.shared) {
        lib.block = static_cast<DriverSharedBlock*>(lib.shared->data());
        if (lib.shared->createdByThisProcess())
            settleFolder(*lib.block);
        else
            awaitFolder(*lib.block);
    } else {
        lib.local.reset(new DriverSharedBlock());
        lib.block = lib.local.get();
        settleFolder(*lib.block);
    }
    useSharedBlock(lib.block);
}

void writeHintFileIfMissing(const Paths& files) {
    const std::string hint = files.dataFolder + platform::pathSeparator() + kHintBaseName + ".txt";
    if (std::ifstream(hint, std::ios::binary).is_open()) return;
    std::ofstream out(hint, std::ios::binary | std::ios::trunc);
    out << kHintText;
}

void startLogging(const Paths& files) {
    log::StartInfo info;
    info.logName = kLogBaseName;
    info.logFolder = files.dataFolder;
    info.paramFile = files.iniFile;
    info.version = kVersionText;
    info.product = kProductText;
    info.buildDate = kBuildDateText;
    log::init_logging(info);
}

// The mask is kept in the configuration file so that a user finds the key to change.
void settleLoggingKey(const Paths& files) {
    char mask[32];
    std::snprintf(mask, sizeof mask, "0x%x", log::log_bits());
    readIniValue(files.iniFile, "Logging", "LOGGING", mask, true);
}

void requestTimer(Library& lib) {
    lib.periodChanged = platform::requestTimerPeriod(kTimerPeriodMs);
    if (lib.periodChanged) TQ4_LOG(log::kProgress, nullptr, "period change begin");
}

void releaseTimer(Library& lib) {
    if (!lib.periodChanged) return;
    platform::releaseTimerPeriod(kTimerPeriodMs);
    lib.periodChanged = false;
    TQ4_LOG(log::kProgress, nullptr, "period change end");
}

void unmapSharedBlock(Library& lib, bool lastProcess) {
    useSharedBlock(nullptr);
    if (lastProcess && lib.shared) platform::SharedBlock::unlink(kDriverBlockName);
    lib.shared.reset();
    lib.local.reset();
    lib.block = nullptr;
}

void processAttach() {
    Library& lib = library();
    mapSharedBlock(lib);
    const Paths files = paths();
    writeHintFileIfMissing(files);
    startLogging(files);
    settleLoggingKey(files);
    requestTimer(lib);
    unsigned opened = __atomic_add_fetch(&lib.block->attachCount, 1u, __ATOMIC_SEQ_CST);
    lib.counted = true;
    TQ4_LOG(log::kProgress, nullptr, "DllMain<DLL_PROCESS_ATTACH, # opened: %d>", static_cast<int>(opened));
}

void processDetach(bool processEnding) {
    Library& lib = library();
    if (!lib.block) return;
    // A start-up that failed half-way never counted this process.
    unsigned opened = lib.counted ? __atomic_sub_fetch(&lib.block->attachCount, 1u, __ATOMIC_SEQ_CST)
                                  : __atomic_load_n(&lib.block->attachCount, __ATOMIC_SEQ_CST);
    lib.counted = false;
    if (opened == 0 && registryExists())
        TQ4_LOG(log::kProgress, nullptr, "DllMain<DLL_PROCESS_DETACH>: GenICam driver was still open.");
    releaseTimer(lib);
    TQ4_LOG(log::kProgress, nullptr, "DllMain<DLL_PROCESS_DETACH, # opened: %d>: done.", static_cast<int>(opened));
    log::exit_logging(processEnding ? 0 : 5000);
    unmapSharedBlock(lib, opened == 0);
}

// The loader calls these; nothing may escape into it.
void onLibraryLoad() {
    try {
        processAttach();
    } catch (...) {
        std::fprintf(stderr, "tq4_genicam: library start-up failed\n");
    }
}

// processEnding: the process is exiting and its other threads are already gone.
void onLibraryUnload(bool processEnding) {
    try {
        processDetach(processEnding);
    } catch (...) {}
}

#if !defined(_WIN32)
__attribute__((constructor)) void loaded() { onLibraryLoad(); }
__attribute__((destructor)) void unloaded() { onLibraryUnload(false); }
#endif

}  // namespace
}  // namespace tq4::driver

#if defined(_WIN32)
// The DLL's entry point: process attach and detach (reasons 1 and 0); thread attach and detach
// do nothing. The engine is imported lazily, from the "genicam" folder beside the DLL.
// A detach with a non-null third argument comes from the process' exit.
extern "C" int __stdcall DllMain(void*, unsigned long reason, void* reserved) {
    constexpr unsigned long kProcessDetach = 0, kProcessAttach = 1;
    if (reason == kProcessAttach) {
        tq4::driver::useGenicamFolder();
        tq4::driver::onLibraryLoad();
    } else if (reason == kProcessDetach) {
        tq4::driver::onLibraryUnload(reserved != nullptr);
    }
    return 1;
}
#endif
