// The log thread: flushes the file and copies it aside when asked, so that the line call
// never waits for the disk. It waits on four manual-reset events at once (copy, flush, end, new
// name), named after the log and the process ("LOG_tq4_genicam_COPY_EV_<process id>"; names
// count on Windows only). Across processes the thresholds are decided in the shared block, and
// the process that crossed one wakes its own thread.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "log/Log.h"
#include "log/LogInternal.h"
#include "platform/Platform.h"

namespace tq4::log::detail {
namespace {

constexpr uint32_t kWaitTimeoutMs = 30000;
// Event i stands for the ThreadEvent bit 1 << i.
constexpr const char* kEventNames[] = {"COPY", "FLUSH", "END", "NEWNAME"};
constexpr std::size_t kEventCount = 4;

struct ThreadControl {
    std::unique_ptr<platform::Event> events[kEventCount];
    std::mutex mutex;
    bool finished = false;
    std::condition_variable done;

    bool create(const std::string& logName) {
        for (std::size_t i = 0; i < kEventCount; ++i) {
            char name[300];
            std::snprintf(name, sizeof name, "LOG_%s_%s_EV_%d", logName.c_str(), kEventNames[i],
                          static_cast<int>(platform::currentProcessId()));
            events[i] = platform::Event::createNamed(name);
            if (!events[i]) return false;
        }
        return true;
    }
    void signal(uint32_t event) {
        for (std::size_t i = 0; i < kEventCount; ++i)
            if (event & (1u << i)) events[i]->set();
    }
};

struct Runner {
    std::thread thread;
    std::shared_ptr<ThreadControl> control;
};

std::mutex runnerMutex;
Runner* runner() {
    alignas(Runner) static unsigned char storage[sizeof(Runner)];
    static Runner* instance = new (storage) Runner();
    return instance;
}

// A time-out only repeats the wait. Each event found set is reset before its work is done, so
// that a signal arriving meanwhile is not lost.
uint32_t waitForEvents(ThreadControl& control) {
    platform::Event* events[kEventCount];
    for (std::size_t i = 0; i < kEventCount; ++i) events[i] = control.events[i].get();
    uint32_t set = 0;
    while (set == 0) set = platform::waitForAny(events, kEventCount, kWaitTimeoutMs);
    for (std::size_t i = 0; i < kEventCount; ++i)
        if (set & (1u << i)) events[i]->reset();
    return set;
}

std::string timeStampText(const platform::LocalTime& t) {
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year, t.month, t.day, t.hour, t.minute,
                  t.second, t.millisecond);
    return text;
}

// A name no copy has yet: the processes sharing the file copy it in turn under its lock, and
// two of them may do so within one millisecond.
std::string freeCopyName(const std::string& logPath, const platform::LocalTime& now) {
    std::error_code error;
    for (unsigned taken = 0;; ++taken) {
        std::string name = copyNameFor(logPath, now, taken);
        if (!std::filesystem::exists(name, error)) return name;
    }
}

// Copy aside and start over. Appenders of every process hold the file lock shared for each
// line, so holding it exclusive here keeps any line from falling between copy and truncate.
void copyAside(platform::AppendFile& file, SharedLogBlock* block) {
    diagnostic("logthread() copy file");
    const platform::LocalTime now = platform::localTime();
    const std::string continued = file.path() + "\r\nlogfile continued at " + timeStampText(now) + "\r\n";
    std::error_code error;
    file.lockExclusive();
    const std::string copyName = freeCopyName(file.path(), now);
    file.flush();
    std::filesystem::copy_file(file.path(), copyName, std::filesystem::copy_options::overwrite_existing, error);
    if (!error) {
        file.truncate();
        file.append(continued);
        file.flush();
    }
    file.unlock();
    if (error) {
        diagnostic("logthread() copy to %s failed: %s", copyName.c_str(), error.message().c_str());
        return;
    }
    if (block) {
        block->copylen.fetch_add(continued.size());
        block->copies.fetch_add(1);
    }
}

void flushFile(platform::AppendFile& file) {
    diagnostic("logthread() flush buffers start");
    file.flush();
    diagnostic("logthread() flush buffers done");
}

std::unique_ptr<platform::AppendFile> reopen(const std::string& path) {
    diagnostic("logthread() new name Event");
    auto file = platform::AppendFile::open(path, false);
    diagnostic("logthread() CreateFile returned 0x%x", file ? 1u : 0u);
    return file;
}

// On Windows a thread's last steps wait for the loader's lock, which DllMain holds while the DLL
// unloads: a join there would never return. The thread has left its loop and ends on its own,
// holding the library until its last instruction.
#if defined(_WIN32)
constexpr bool kJoinEndedThread = false;
#else
constexpr bool kJoinEndedThread = true;
#endif

void runLoop(ThreadControl* control, const std::string& path, SharedLogBlock* block) {
    auto file = platform::AppendFile::open(path, false);
    for (;;) {
        uint32_t events = waitForEvents(*control);
        if ((events & kCopyEvent) && file) copyAside(*file, block);
        if ((events & kFlushEvent) && file) flushFile(*file);
        if (events & kNewNameEvent) file = reopen(path);
        if (events & kEndEvent) break;
    }
    diagnostic("logthread() end Event");
    file.reset();
}

// The thread holds the library while it runs (see platform::holdModuleOf) and frees what it
// owns before it ends, as on Windows it ends without returning.
void threadMain(std::shared_ptr<ThreadControl> control, std::string path, SharedLogBlock* block,
                platform::ModuleHandle hold) {
    platform::nameCurrentThread("tq4-log");
    runLoop(control.get(), path, block);
    diagnostic("logthread() before return");
    {
        std::lock_guard<std::mutex> lock(control->mutex);
        control->finished = true;
        control->done.notify_all();
    }
    control.reset();
    std::string().swap(path);
    platform::endThreadReleasing(hold);
}

}  // namespace

void startLogThread(const std::string& logName, const std::string& logPath, SharedLogBlock* block) {
    std::lock_guard<std::mutex> lock(runnerMutex);
    Runner& r = *runner();
    if (r.control) return;
    auto control = std::make_shared<ThreadControl>();
    if (!control->create(logName)) {
        diagnostic("logthread() cannot create its events");
        return;
    }
    platform::ModuleHandle hold = platform::holdModuleOf(reinterpret_cast<const void*>(&startLogThread));
    try {
        r.thread = std::thread(threadMain, control, logPath, block, hold);
    } catch (const std::system_error&) {
        platform::releaseModuleHold(hold);
        diagnostic("logthread() cannot be started");
        return;
    }
    r.control = control;
}

void signalLogThread(ThreadEvent event) {
    std::shared_ptr<ThreadControl> control;
    {
        std::lock_guard<std::mutex> lock(runnerMutex);
        control = runner()->control;
    }
    if (control) control->signal(event);
}

bool logThreadRunning() {
    std::lock_guard<std::mutex> lock(runnerMutex);
    return runner()->control != nullptr;
}

// Joins the thread when it ends in time; otherwise lets it finish on its own (it owns its
// control data, so nothing it touches goes away under it). The runner is emptied first, so
// lines the thread logs meanwhile never wait for this call.
void stopLogThread(unsigned timeoutMs) {
    Runner stopping;
    {
        std::lock_guard<std::mutex> lock(runnerMutex);
        std::swap(stopping, *runner());
    }
    if (!stopping.control) return;
    ThreadControl& control = *stopping.control;
    bool finished;
    {
        control.signal(kEndEvent);
        std::unique_lock<std::mutex> controlLock(control.mutex);
        finished =
            control.done.wait_for(controlLock, std::chrono::milliseconds(timeoutMs), [&] { return control.finished; });
    }
    if (finished && kJoinEndedThread)
        stopping.thread.join();
    else
        stopping.thread.detach();
}

}  // namespace tq4::log::detail
