// Line call, start and end of the log facility.
#include "log/Log.h"

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <sstream>
#include <thread>

#include "log/LogInternal.h"
#include "platform/Platform.h"

namespace tq4::log {
namespace {

using namespace detail;

constexpr std::size_t kMessageSize = 1000;
constexpr std::size_t kLineLimit = 998;
constexpr uint32_t kParamFileError = 0xA0000004;
const char kLibraryVersion[] = "1,1,0,24";
const char kLibraryDate[] = "Mar 27 2025";
const char kLineEnd[] = "\r\n";

// Process-wide state. Built in static storage and never destroyed, so that lines logged by
// static destructors at process exit still find it; exit_logging frees everything it holds,
// so unloading a library that contains the facility leaves nothing behind.
struct State {
    std::mutex lock;  // the log critical section
    bool started = false;
    Parameters params;
    std::atomic<uint32_t> bits{kError};
    std::string logPath;
    std::unique_ptr<platform::AppendFile> file;
    std::unique_ptr<platform::SharedBlock> sharedBlock;
    std::unique_ptr<SharedLogBlock> localBlock;  // when no shared block can be had
    SharedLogBlock* block = nullptr;
    std::string blockName;
    uint64_t lastLineTicks = 0;
    int deviceNumber = -1;
    std::atomic<bool> hasObserver{false};
    std::shared_ptr<const LineObserver> observer;
};

State& state() {
    alignas(State) static unsigned char storage[sizeof(State)];
    static State* instance = new (storage) State();
    return *instance;
}

std::string formatText(const char* format, va_list args) {
    char buffer[kMessageSize];
    int length = std::vsnprintf(buffer, sizeof buffer, format, args);
    if (length < 0) return std::string();
    return std::string(buffer, std::min<std::size_t>(static_cast<std::size_t>(length), sizeof buffer - 1));
}

std::string printfText(const char* format, ...) TQ4_PRINTF_FORMAT(1, 2);
std::string printfText(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = formatText(format, args);
    va_end(args);
    return text;
}

uint32_t effectiveClass(uint32_t classBits) {
    uint32_t cls = classBits & ~kConsole;
    return cls == 0 ? kError : cls;
}

// ---- prefix columns, in their fixed order ---------------------------------------------------

std::string timeColumn() {
    platform::LocalTime t = platform::localTime();
    return printfText("%02d:%02d:%02d.%03d ", t.hour, t.minute, t.second, t.millisecond);
}

std::string deltaColumn(State& s) {
    uint64_t now = platform::highResolutionCounter();
    uint64_t micros =
        s.lastLineTicks == 0 ? 0 : (now - s.lastLineTicks) * 1000000ull / platform::highResolutionFrequency();
    s.lastLineTicks = now;
    return printfText("%6d.%03dms ", static_cast<int>(micros / 1000), static_cast<int>(micros % 1000));
}

std::string processorColumn() {
    uint32_t number = 0;
    platform::currentProcessorNumber(number);
    return printfText("%02d ", static_cast<int>(number));
}

std::string priorityColumn() {
    return printfText("0x%04x+%02d ", platform::processPriorityClass(), platform::currentThreadPriority());
}

std::string prefixColumns(State& s, uint32_t bits, uint32_t cls, const void* handle) {
    std::string prefix;
    if (bits & kTimeColumn) prefix += timeColumn();
    if (bits & kDeltaColumn) prefix += deltaColumn(s);
    if (bits & kHandleColumn)
        prefix += printfText("0x%04x ", static_cast<unsigned>(reinterpret_cast<uintptr_t>(handle) & 0xffff));
    if (bits & kThreadColumn) prefix += printfText("0x%04x ", platform::currentThreadId());
    if (bits & kProcessorColumn) prefix += processorColumn();
    if (bits & kPriorityColumn) prefix += priorityColumn();
    if (cls & kError) prefix += "ERROR: ";
    return prefix;
}

// ---- thresholds: exactly one process wins each crossing ------------------------------------

bool winFlushCrossing(SharedLogBlock& block, uint32_t flushLines) {
    uint32_t lines = block.linesSinceFlush.fetch_add(1) + 1;
    return flushLines != 0 && lines >= flushLines && block.linesSinceFlush.compare_exchange_strong(lines, 0);
}

// `length` is the count after this line's bytes were added.
bool winCopyCrossing(SharedLogBlock& block, uint64_t length, uint32_t fileLength) {
    return length > fileLength && block.copylen.compare_exchange_strong(length, 0);
}

void writeRawLocked(State& s, const std::string& text) {
    if (!s.file) return;
    s.file->lockShared();
    s.file->append(text);
    s.file->unlock();
}

// The facility's own threshold lines are not counted again, so a tiny length limit cannot
// make one line trigger the next.
void writeLineLocked(State& s, uint32_t classBits, const void* handle, const std::string& message, bool counted = true);

// Every counted line adds its bytes, also the one that triggers a flush.
void countLineLocked(State& s, std::size_t written) {
    const uint64_t length = s.block->copylen.fetch_add(written) + written;
    if (winFlushCrossing(*s.block, s.params.flushLines)) {
        if (s.bits & kOwnDiagnostics)
            writeLineLocked(s, kOwnDiagnostics, nullptr, printfText("mc>log_flushlines %u", s.params.flushLines),
                            false);
        signalLogThread(kFlushEvent);
    } else if (winCopyCrossing(*s.block, length, s.params.fileLength)) {
        if (s.bits & kOwnDiagnostics)
            writeLineLocked(s, kOwnDiagnostics, nullptr,
                            printfText("gl_LogGlobalPar->copylen >log_filelen %u", s.params.fileLength), false);
        signalLogThread(kCopyEvent);
    }
}

void writeLineLocked(State& s, uint32_t classBits, const void* handle, const std::string& message, bool counted) {
    const uint32_t bits = s.bits;
    std::string line = prefixColumns(s, bits, effectiveClass(classBits), handle);
    line += message;
    if (line.size() > kLineLimit) line.resize(kLineLimit);
    line += kLineEnd;
    if (classBits & kConsole) std::fprintf(stdout, "%.*s\n", static_cast<int>(line.size() - 2), line.c_str());
    if (!s.file) return;
    writeRawLocked(s, line);
    if (counted && s.block) countLineLocked(s, line.size());
}

void notifyObserver(State& s, uint32_t classBits, const std::string& message) {
    if (!s.hasObserver) return;
    std::shared_ptr<const LineObserver> observer = std::atomic_load(&s.observer);
    if (observer && *observer) (*observer)(classBits, message);
}

// ---- start and end ----------------------------------------------------------------------------

std::string dashes() { return std::string(72, '-'); }

std::string timeStamp(const platform::LocalTime& t) {
    return printfText("%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year, t.month, t.day, t.hour, t.minute, t.second,
                      t.millisecond);
}

std::string startBanner(const State& s, const StartInfo& info) {
    std::string banner = kLineEnd + dashes() + kLineEnd;
    banner += "\r\nLogfile: " + s.logPath + kLineEnd;
    banner += "Logging started at " + timeStamp(platform::localTime()) +
              printfText("  process_id 0x%0x\r\n\r\n", platform::currentProcessId());
    banner += printfText("Log library Version: %s created %s\r\n", kLibraryVersion, kLibraryDate);
    banner += info.product + " Version: " + info.version + " created " + info.buildDate + kLineEnd;
    banner += "Description: " + (info.description.empty() ? info.product : info.description) + kLineEnd;
    return banner;
}

void logSettings(const Parameters& p) {
    logLine(kOwnDiagnostics | kProgress, nullptr, "log_bits set to 0x%x", p.logBits);
    logLine(kOwnDiagnostics, nullptr, "log_flushlines set to %u", p.flushLines);
    logLine(kOwnDiagnostics, nullptr, "log_filelen set to %u", p.fileLength);
    logLine(kOwnDiagnostics, nullptr, "log_thread_enable set to %u", p.threadEnable);
}

uint64_t fileLength(const std::string& path) {
    auto file = platform::AppendFile::open(path, false);
    return file ? file->size() : 0;
}

void copyText(char* target, const std::string& text) {
    std::size_t length = std::min(text.size(), kPathSize - 1);
    std::memcpy(target, text.data(), length);
    target[length] = '\0';
}

// A creator fills the block; an opener waits briefly for that and then takes the creator's
// path, so every process appends to the same file.
void settleSharedBlock(State& s) {
    SharedLogBlock& block = *s.block;
    if (s.sharedBlock == nullptr || s.sharedBlock->createdByThisProcess()) {
        copyText(block.logFilePath, s.logPath);
        block.copylen = fileLength(s.logPath);
        block.creatorLogBits = s.params.logBits;
        block.creatorFlushLines = s.params.flushLines;
        block.creatorFileLength = s.params.fileLength;
        block.creatorThreadEnable = s.params.threadEnable;
        block.ready.store(kBlockReady);
    } else {
        for (int i = 0; i < 500 && block.ready.load() != kBlockReady; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        if (block.ready.load() == kBlockReady && block.logFilePath[0]) s.logPath = block.logFilePath;
    }
    block.openCount.fetch_add(1);
}

void mapSharedBlock(State& s, const std::string& logName) {
    s.blockName = logName + "_logmem";
    s.sharedBlock = platform::SharedBlock::openOrCreate(s.blockName, kSharedBlockSize);
    if (s.sharedBlock) {
        s.block = static_cast<SharedLogBlock*>(s.sharedBlock->data());
    } else {
        s.localBlock.reset(new SharedLogBlock());
        s.block = s.localBlock.get();
    }
    settleSharedBlock(s);
}

void releaseSharedBlock(State& s) {
    if (!s.block) return;
    bool last = s.block->openCount.fetch_sub(1) == 1;
    if (last && s.sharedBlock) platform::SharedBlock::unlink(s.blockName);
    s.sharedBlock.reset();
    s.localBlock.reset();
    s.block = nullptr;
}

std::string joinPath(const std::string& folder, const std::string& name) {
    if (folder.empty()) return name;
    const char separator = platform::pathSeparator();
    return folder.back() == separator || folder.back() == '/' ? folder + name : folder + separator + name;
}

}  // namespace

namespace detail {
void diagnostic(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string message = formatText(format, args);
    va_end(args);
    logLine(kOwnDiagnostics, nullptr, "%s", message.c_str());
}
}  // namespace detail

namespace {
// The C++ library reports some read errors (a folder in place of the file) by throwing.
bool readWholeFile(std::ifstream& in, std::string& text) {
    try {
        text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        return !in.bad();
    } catch (const std::exception&) {
        return false;
    }
}
}  // namespace

uint32_t get_logparam(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        diagnostic("get_logparam() open file %s failed", file.c_str());
        return kParamFileError;
    }
    std::string text;
    if (!readWholeFile(in, text)) {
        diagnostic("get_logparam() read file %s failed", file.c_str());
        return kParamFileError;
    }
    if (text.empty()) {
        diagnostic("get_logparam() read '\\0' from file %s", file.c_str());
        return kParamFileError;
    }
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    parseParameters(text, s.params);
    uint32_t unused = 0;
    if (!platform::currentProcessorNumber(unused)) s.params.logBits &= ~kProcessorColumn;
    s.bits = s.params.logBits;
    return 0;
}

void init_logging(const StartInfo& info) {
    State& s = state();
    {
        std::lock_guard<std::mutex> guard(s.lock);
        if (s.started) return;
        s.started = true;
        s.params = Parameters();
        s.params.folder = info.logFolder;
        s.bits = s.params.logBits;
    }
    get_logparam(info.paramFile);
    bool fileOpen = false;
    {
        std::lock_guard<std::mutex> guard(s.lock);
        s.logPath = joinPath(s.params.folder, info.logName + ".log");
        mapSharedBlock(s, info.logName);
        s.file = platform::AppendFile::open(s.logPath, false);
        fileOpen = s.file != nullptr;
        if (fileOpen) writeRawLocked(s, startBanner(s, info));
    }
    logSettings(s.params);
    if (fileOpen && s.params.threadEnable) startLogThread(info.logName, s.logPath, s.block);
}

void stop_logthread(unsigned timeoutMs) { stopLogThread(timeoutMs); }

void exit_logging(unsigned threadWaitMs) {
    State& s = state();
    {
        std::lock_guard<std::mutex> guard(s.lock);
        if (!s.started) return;
        writeRawLocked(s, "\r\nLogging ended at " + timeStamp(platform::localTime()) + kLineEnd + dashes() + kLineEnd);
    }
    stopLogThread(threadWaitMs);
    std::lock_guard<std::mutex> guard(s.lock);
    s.file.reset();
    releaseSharedBlock(s);
    // Swapped out: assigning an empty string would keep the old buffer.
    std::string().swap(s.logPath);
    std::string().swap(s.blockName);
    std::string().swap(s.params.folder);
    s.started = false;
}

void set_device_number(int number) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.deviceNumber = number;
}

uint32_t log_bits() { return state().bits; }

std::string log_file_path() {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    return s.logPath;
}

void renew_logfile() { signalLogThread(kNewNameEvent); }

void setLineObserver(LineObserver observer) {
    State& s = state();
    auto shared = observer ? std::make_shared<const LineObserver>(std::move(observer)) : nullptr;
    std::atomic_store(&s.observer, std::shared_ptr<const LineObserver>(shared));
    s.hasObserver = shared != nullptr;
}

void logLine(uint32_t classBits, const void* handle, const char* format, ...) {
    State& s = state();
    const bool console = (classBits & kConsole) != 0;
    if (classBits == kConsole) {
        std::fputc('\n', stdout);
        return;
    }
    const bool wanted = (effectiveClass(classBits) & s.bits) != 0;
    if (!s.hasObserver && !wanted) return;
    va_list args;
    va_start(args, format);
    std::string message = formatText(format ? format : "", args);
    va_end(args);
    notifyObserver(s, classBits, message);
    if (!wanted) return;
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.file || console) writeLineLocked(s, classBits, handle, message);
}

}  // namespace tq4::log
