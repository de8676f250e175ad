// The driver's log facility: one call writes one formatted line, filtered by a class mask,
// into a log file shared by every process that logs under the same name.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "log/Format.h"

namespace tq4::log {

// Line classes (bits of the mask).
enum : uint32_t {
    kError = 0x1,       // written with "ERROR: "
    kProgress = 0x2,    // open/close progress and separators
    kImageTrace = 0x4,  // image-call trace
    kDetail = 0x8,
    kVerbose = 0x20,
    kConsole = 0x1000000,
};

struct StartInfo {
    std::string logName;      // base name, e.g. "tq4_genicam"
    std::string logFolder;    // default folder of the log file (LOGFILEPATH= overrides)
    std::string paramFile;    // parameter file (the driver's ini file)
    std::string version;      // e.g. "1,9,0,0"
    std::string product;      // e.g. "GenICam_Driver (64bit)"
    std::string buildDate;    // e.g. "Apr 17 2025"
    std::string description;  // "Description:" banner line; the product text when empty
};

// Reads the parameters, maps the shared control block, opens the log file (only if it
// exists: logging is on only while the file is there), writes the start banner and starts
// the log thread when enabled. Safe to call when already started (does nothing).
void init_logging(const StartInfo& info);
// End banner, stop of the log thread (waiting at most threadWaitMs: 0 when the process is
// ending and its other threads are already gone), handles closed, block unmapped.
void exit_logging(unsigned threadWaitMs = 5000);
// Stops the log thread, waiting at most `timeoutMs` for it (Close_Cam's last step).
void stop_logthread(unsigned timeoutMs);
// Tells the facility the device number of the camera that was just opened.
void set_device_number(int number);

// Reads the parameter file; 0, or 0xA0000004 when it cannot be opened or read.
uint32_t get_logparam(const std::string& file);
uint32_t log_bits();  // the current mask
// Full path of the log file in use (empty before init_logging).
std::string log_file_path();
// Asks the log thread to close its handle and open the log file path again (after the file
// was replaced from outside).
void renew_logfile();

// The line call.
void logLine(uint32_t classBits, const void* handle, const char* format, ...) TQ4_PRINTF_FORMAT(3, 4);

// Every formatted message (without prefix columns, with its class) is also handed to this
// observer, whatever the mask and whether a file is open. Tests use it to check messages.
using LineObserver = std::function<void(uint32_t classBits, const std::string& message)>;
void setLineObserver(LineObserver observer);

}  // namespace tq4::log

// Short form used throughout the driver: TQ4_LOG(level, handle, "Class::method: ...", ...)
#define TQ4_LOG(cls, handle, ...) ::tq4::log::logLine((cls), (handle), __VA_ARGS__)
