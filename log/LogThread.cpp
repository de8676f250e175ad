// The log thread: flushes the file and copies it aside when asked, so that the line call
// never waits for the disk. Its four events (copy, flush, end, new name) are bits under one
// condition variable; across processes the thresholds are decided in the shared block, and
// the process that crossed one wakes its own thread.
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>

#include "log/Log.h"
#include "log/LogInternal.h"

namespace tq4::log::detail {
namespace {

constexpr auto kWaitTimeout = std::chrono::milliseconds(30000);

struct ThreadControl {
    std::mutex mutex;
    std::condition_variable wake;
    uint32_t pending = 0;
    bool finished = false;
    std::condition_variable done;
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

uint32_t waitForEvents(ThreadControl& control) {
    std::unique_lock<std::mutex> lock(control.mutex);
    while (control.pending == 0) control.wake.wait_for(lock, kWaitTimeout);
    uint32_t events = control.pending;
    control.pending = 0;
    return events;
}

std::string timeStampText(const platform::LocalTime& t) {
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year, t.month, t.day, t.hour, t.minute,
                  t.second, t.millisecond);
    return text;
}

// Copy aside and start over. Appenders of every process hold the file lock shared for each
// line, so holding it exclusive here keeps any line from falling between copy and truncate.
void copyAside(platform::AppendFile& file, SharedLogBlock* block) {
    diagnostic("logthread() copy file");
    const platform::LocalTime now = platform::localTime();
    const std::string copyName = copyNameFor(file.path(), now);
    const std::string continued = file.path() + "\r\nlogfile continued at " + timeStampText(now) + "\r\n";
    std::error_code error;
    file.lockExclusive();
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

void threadMain(std::shared_ptr<ThreadControl> control, std::string path, SharedLogBlock* block) {
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
    diagnostic("logthread() before return");
    std::lock_guard<std::mutex> lock(control->mutex);
    control->finished = true;
    control->done.notify_all();
}

}  // namespace

void startLogThread(const std::string& logPath, SharedLogBlock* block) {
    std::lock_guard<std::mutex> lock(runnerMutex);
    Runner& r = *runner();
    if (r.control) return;
    r.control = std::make_shared<ThreadControl>();
    r.thread = std::thread(threadMain, r.control, logPath, block);
}

void signalLogThread(ThreadEvent event) {
    std::shared_ptr<ThreadControl> control;
    {
        std::lock_guard<std::mutex> lock(runnerMutex);
        control = runner()->control;
    }
    if (!control) return;
    std::lock_guard<std::mutex> lock(control->mutex);
    control->pending |= event;
    control->wake.notify_one();
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
        std::unique_lock<std::mutex> controlLock(control.mutex);
        control.pending |= kEndEvent;
        control.wake.notify_one();
        finished =
            control.done.wait_for(controlLock, std::chrono::milliseconds(timeoutMs), [&] { return control.finished; });
    }
    if (finished)
        stopping.thread.join();
    else
        stopping.thread.detach();
}

}  // namespace tq4::log::detail
