// Pieces shared by the files of the log facility; not for use outside log/.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "log/Format.h"
#include "platform/Platform.h"

namespace tq4::log::detail {

// Bits of the mask beyond the line classes of Log.h.
constexpr uint32_t kHandleColumn = 0x800;
constexpr uint32_t kTimeColumn = 0x1000;
constexpr uint32_t kDeltaColumn = 0x2000;
constexpr uint32_t kThreadColumn = 0x4000;
constexpr uint32_t kProcessorColumn = 0x8000;
constexpr uint32_t kOwnDiagnostics = 0x100000;
constexpr uint32_t kPriorityColumn = 0x200000;

struct Parameters {
    uint32_t logBits = kError;
    uint32_t threadEnable = 1;
    uint32_t flushLines = 2000;
    uint32_t fileLength = 4194304;
    std::string folder;  // LOGFILEPATH= when given
};

// Control block shared by every process that logs under one name. Its counters are changed
// with atomic operations only, so that each threshold crossing has exactly one winner among
// all processes: that process's log thread flushes or copies the file.
constexpr std::size_t kSharedBlockSize = 3852;
constexpr std::size_t kPathSize = 260;
constexpr uint32_t kBlockReady = 0x4c4f4731;  // set by the creator once the path is in place

struct SharedLogBlock {
    std::atomic<uint32_t> ready;      // kBlockReady after the creator filled the block
    std::atomic<uint32_t> openCount;  // processes that have the facility started
    std::atomic<uint32_t> linesSinceFlush;
    std::atomic<uint32_t> copies;   // copies made so far (diagnostics)
    std::atomic<uint64_t> copylen;  // bytes written since the last copy
    uint32_t creatorLogBits;
    uint32_t creatorFlushLines;
    uint32_t creatorFileLength;
    uint32_t creatorThreadEnable;
    char logFilePath[kPathSize];
};
static_assert(sizeof(SharedLogBlock) <= kSharedBlockSize, "log control block too large");
static_assert(std::atomic<uint64_t>::is_always_lock_free, "shared counters must be lock-free");

// Parses parameter text (comments stripped, keys matched upper-cased) into `params`.
void parseParameters(const std::string& text, Parameters& params);

// Name of the copy made aside: the suffix with the local time goes before the extension. When
// `taken` names of that millisecond exist already, "_2", "_3", ... follows the time.
std::string copyNameFor(const std::string& logPath, const platform::LocalTime& t, unsigned taken = 0);

// Log thread control (LogThread.cpp).
enum ThreadEvent : uint32_t { kCopyEvent = 1, kFlushEvent = 2, kEndEvent = 4, kNewNameEvent = 8 };
void startLogThread(const std::string& logName, const std::string& logPath, SharedLogBlock* block);
void signalLogThread(ThreadEvent event);
bool logThreadRunning();
void stopLogThread(unsigned timeoutMs);

// Writes a line in the facility's own diagnostic class.
void diagnostic(const char* format, ...) TQ4_PRINTF_FORMAT(1, 2);

}  // namespace tq4::log::detail
