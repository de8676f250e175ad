// Operating-system services used by the driver, the log facility and the tools.
// Nothing outside platform/ includes an OS header; everything OS-specific goes through here.
// The POSIX implementation lives in platform/posix/, the Windows one in platform/win32/.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace tq4::platform {

// ---- named shared memory block -------------------------------------------------------------
// A block of memory shared by every process that opens the same name. Linux: a POSIX
// shared-memory object ("/name"), sized on creation and mapped whole. Windows: a named,
// page-file-backed file mapping, which goes away with its last user. When the environment
// variable TQ4_SHM_SUFFIX is set, its text is appended to every name (open, create and
// unlink alike), so that test runs in parallel never see each other's blocks.
class SharedBlock {
public:
    // Opens the block if it exists, else creates it zero-filled with `size` bytes.
    // Returns null when it can neither be opened nor created.
    static std::unique_ptr<SharedBlock> openOrCreate(const std::string& name, std::size_t size);
    ~SharedBlock();  // unmaps; the last user's unmap does not unlink
    SharedBlock(const SharedBlock&) = delete;
    SharedBlock& operator=(const SharedBlock&) = delete;

    void* data() const { return data_; }
    std::size_t size() const { return size_; }
    bool createdByThisProcess() const { return created_; }

    // Removes the name so that the next openOrCreate starts afresh (used when the last
    // process detaches, and by tests).
    static void unlink(const std::string& name);

private:
    SharedBlock() = default;
    void* data_ = nullptr;
    std::size_t size_ = 0;
    bool created_ = false;
    intptr_t handle_ = -1;  // descriptor (Linux) or file-mapping HANDLE (Windows)
};

// ---- folders and files ----------------------------------------------------------------------
// The folder that stands in for the Windows common application data folder. The environment
// variable TQ4_COMMON_APPDATA overrides it; without it: $XDG_DATA_HOME, else $HOME/.local/share,
// else /tmp. Returns false when no folder can be named.
bool commonAppDataFolder(std::string& folder);
bool makeDirectory(const std::string& path);    // true if it exists afterwards
bool makeDirectories(const std::string& path);  // with every missing parent
bool fileExists(const std::string& path);       // plain existence test (folders count)
bool currentDirectory(std::string& dir);
char pathSeparator();                                             // '/' here, '\\' on Windows
char gentlPathListSeparator();                                    // ':' here, ';' on Windows
std::string getEnvironment(const char* name);                     // empty when unset
bool setEnvironment(const char* name, const std::string& value);  // for tests and tools
bool executablePath(std::string& path);                           // full path of the running program
int lastSystemError();                                            // errno / GetLastError of the last call

// ---- append-only file -------------------------------------------------------------------------
// A file that several processes append to at once. Each append is one write at the end of
// the file, so a line never interleaves with another process's line. The shared/exclusive
// lock is advisory and spans processes: appenders hold it shared for one append, whoever
// rewrites the file (copy aside, truncate) holds it exclusive so no append falls in between.
class AppendFile {
public:
    // Opens an existing file for appending (and reading); with createIfMissing also creates
    // it. Null when it cannot be opened.
    static std::unique_ptr<AppendFile> open(const std::string& path, bool createIfMissing);
    ~AppendFile();
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    bool append(const void* data, std::size_t length);  // one write, whole or nothing
    bool append(const std::string& text) { return append(text.data(), text.size()); }
    bool flush();           // data reaches the disk
    bool truncate();        // length 0
    uint64_t size() const;  // current length, 0 when unknown
    void lockShared();
    void lockExclusive();
    void unlock();
    const std::string& path() const { return path_; }

private:
    AppendFile(intptr_t fd, std::string path) : fd_(fd), path_(std::move(path)) {}
    intptr_t fd_;  // descriptor (Linux) or file HANDLE (Windows)
    std::string path_;
};

// ---- dynamic modules ------------------------------------------------------------------------
using ModuleHandle = void*;
ModuleHandle loadModule(const std::string& path);  // null on failure
void* moduleSymbol(ModuleHandle module, const char* name);
void unloadModule(ModuleHandle module);
std::string lastModuleError();  // text of the last failure
// Full path of the module that contains `addressInside` (a function of that module).
bool modulePathOf(const void* addressInside, std::string& path);
// A thread of a library that may still be ending when the library is unloaded: its starter
// takes a hold on the library containing `addressInside` (before the thread exists), and the
// thread's last act is endThreadReleasing(hold), which on Windows is FreeLibraryAndExitThread:
// the thread leaves the library's code and drops its hold in one call, so that no unload can
// pull the code from under it. While the hold lasts, the library stays loaded. Linux joins such
// threads at unload: the hold is empty and endThreadReleasing returns.
ModuleHandle holdModuleOf(const void* addressInside);
void releaseModuleHold(ModuleHandle hold);  // for a thread that could not be started
void endThreadReleasing(ModuleHandle hold);
// Windows' SetDllDirectoryA (the folder searched for a module's dependencies). On Linux a library's own dependencies are found through its
// RUNPATH, so this only records the folder for the log; returns true.
bool setLibrarySearchFolder(const std::string& folder);

// Windows' delayed imports: the loader calls `handler` when a delay-imported library cannot be
// found (module not found); it returns the module it loaded in the library's place, or null to
// leave the failure to the loader. Linux has no delayed imports: nothing is ever called.
using MissingLibraryHandler = ModuleHandle (*)(const char* library);
void setMissingLibraryHandler(MissingLibraryHandler handler);

// ---- events ---------------------------------------------------------------------------------
// Manual-reset event that a caller can also poll (Linux: an eventfd that stays readable while
// set; Windows: an event object). The native handle is what crosses the driver's C interface
// as an event HANDLE.
class Event {
public:
    // Null on failure. A blocking event is one whose reads wait (as a caller may make its own).
    static std::unique_ptr<Event> create(bool initiallySet = false, bool blocking = false);
    // An event that every process opening the same name shares (Windows). Linux has no named
    // events: this is a private event of the process.
    static std::unique_ptr<Event> createNamed(const std::string& name);
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    void set();
    void reset();
    bool isSet() const;
    bool wait(uint32_t timeoutMs) const;           // true when set within the time
    intptr_t nativeHandle() const { return fd_; }  // pollable descriptor
private:
    explicit Event(intptr_t fd) : fd_(fd) {}
    intptr_t fd_;  // eventfd descriptor (Linux) or event HANDLE (Windows)
};
// Waits until at least one of `count` events is set: a bit mask of those set (bit i for
// events[i]), 0 when none is set within the time.
uint32_t waitForAny(Event* const* events, std::size_t count, uint32_t timeoutMs);
// Operations on an event that someone else created, known only by its native handle. A reset
// never blocks, also on an eventfd that its creator made blocking.
bool setEventByHandle(intptr_t nativeHandle);
bool resetEventByHandle(intptr_t nativeHandle);
bool waitEventByHandle(intptr_t nativeHandle, uint32_t timeoutMs);
// True when the handle names an open event of this process (an eventfd descriptor, an event
// object's HANDLE), so that a number that is closed, never opened or another kind of file is
// never written to.
bool isEventHandle(intptr_t nativeHandle);

// ---- threads, processes, time -----------------------------------------------------------------
uint32_t currentThreadId();
uint32_t currentProcessId();
// Names the calling thread as process listings and debuggers show it (at most 15 characters
// on Linux; a longer name is cut). The driver's threads are named "tq4-...", the simulated
// camera's "zevo-...".
void nameCurrentThread(const char* name);
bool currentProcessorNumber(uint32_t& number);  // false when the system cannot tell
int currentThreadPriority();                    // nice-like value, 0 when unknown
uint32_t processPriorityClass();                // 0 when unknown

struct LocalTime {
    int year, month, day, hour, minute, second, millisecond;
};
LocalTime localTime();
LocalTime localTimeAt(int64_t secondsSince1970);  // millisecond 0
uint64_t highResolutionCounter();                 // ticks
uint64_t highResolutionFrequency();               // ticks per second

// Starts a program without waiting for it. Returns false when it cannot be started.
bool startProcess(const std::string& program, const std::string& arguments);

// Windows' timeBeginPeriod/timeEndPeriod. Linux timers need no request: always "not changed".
bool requestTimerPeriod(unsigned milliseconds);
void releaseTimerPeriod(unsigned milliseconds);

// ---- terminal and Ctrl-C -----------------------------------------------------------------------
// True when the standard output is a terminal, where a progress line may redraw itself.
bool standardOutputIsTerminal();
// From the first call on, Ctrl-C (SIGINT; on Windows the console's Ctrl-C event) no longer ends
// the program but sets the returned flag, which a long-running loop polls.
const std::atomic<bool>& ctrlCFlag();

// ---- yes/no question to the user ----------------------------------------------------------------
// Windows shows a message box. Here the answer comes, in this order, from an installable
// handler (tests decide it), from the environment variable TQ4_QUESTION_ANSWER ("yes"/"no",
// for unattended runs), or from a desktop dialog (zenity --question, when DISPLAY or
// WAYLAND_DISPLAY is set and zenity is on the PATH) that waits for the user. Without any of
// them nobody is asked: NobodyAsked, which callers take as No and log with the question.
enum class Answer { Yes, No, NobodyAsked };
using QuestionHandler = Answer (*)(const std::string& title, const std::string& text);
void setQuestionHandler(QuestionHandler handler);
Answer askYesNo(const std::string& title, const std::string& text);

}  // namespace tq4::platform
