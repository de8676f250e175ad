// Threads, processes, clocks and the yes/no question.
#include "platform/Platform.h"
#include "platform/Question.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <vector>

extern char** environ;

namespace tq4::platform {

uint32_t currentThreadId() { return static_cast<uint32_t>(gettid()); }
uint32_t currentProcessId() { return static_cast<uint32_t>(getpid()); }

void nameCurrentThread(const char* name) {
    char cut[16] = {};
    std::strncpy(cut, name, sizeof cut - 1);
    pthread_setname_np(pthread_self(), cut);
}

bool currentProcessorNumber(uint32_t& number) {
    int cpu = sched_getcpu();
    if (cpu < 0) return false;
    number = static_cast<uint32_t>(cpu);
    return true;
}

// The nice value of the calling thread (Linux keeps one per thread).
int currentThreadPriority() {
    errno = 0;
    int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
    return errno ? 0 : nice;
}

// Linux has no priority classes; the process nice value mapped so that normal is 20 and
// higher numbers mean higher priority stands in for it.
uint32_t processPriorityClass() {
    errno = 0;
    int nice = getpriority(PRIO_PROCESS, 0);
    return errno ? 0 : static_cast<uint32_t>(20 - nice);
}

namespace {
LocalTime localTimeOf(time_t seconds, int millisecond) {
    tm parts{};
    localtime_r(&seconds, &parts);
    return LocalTime{parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                     parts.tm_min,         parts.tm_sec,     millisecond};
}
}  // namespace

LocalTime localTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return localTimeOf(now.tv_sec, static_cast<int>(now.tv_nsec / 1000000));
}

LocalTime localTimeAt(int64_t secondsSince1970) { return localTimeOf(static_cast<time_t>(secondsSince1970), 0); }

uint64_t highResolutionCounter() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000ull + static_cast<uint64_t>(now.tv_nsec);
}

uint64_t highResolutionFrequency() { return 1000000000ull; }

// ---- starting programs -----------------------------------------------------------------------
namespace {

// Splits a command line at blanks; double quotes group words containing blanks.
std::vector<std::string> splitArguments(const std::string& line) {
    std::vector<std::string> words;
    std::string word;
    bool quoted = false, inWord = false;
    for (char c : line) {
        if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if ((c == ' ' || c == '\t') && !quoted) {
            if (inWord) words.push_back(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord) words.push_back(word);
    return words;
}

bool isExecutableFile(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), X_OK) == 0;
}

bool programCanStart(const std::string& program) {
    if (program.find('/') != std::string::npos) return isExecutableFile(program);
    std::string path = getEnvironment("PATH");
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find(':', start);
        if (end == std::string::npos) end = path.size();
        std::string folder = path.substr(start, end - start);
        if (isExecutableFile((folder.empty() ? "." : folder) + "/" + program)) return true;
        start = end + 1;
    }
    return false;
}

}  // namespace

// The program runs as a grandchild: a short-lived shell starts it in the background and
// exits at once, so it is reaped here right away and the program itself is adopted by init.
// No zombie is left behind and no SIGCHLD handling is imposed on the host process.
bool startProcess(const std::string& program, const std::string& arguments) {
    if (program.empty() || !programCanStart(program)) return false;
    std::vector<std::string> words{"/bin/sh", "-c", "\"$0\" \"$@\" </dev/null &", program};
    for (std::string& word : splitArguments(arguments)) words.push_back(std::move(word));
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t shell = 0;
    if (posix_spawn(&shell, "/bin/sh", nullptr, nullptr, argv.data(), environ) != 0) return false;
    int status = 0;
    while (waitpid(shell, &status, 0) < 0 && errno == EINTR) {}
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool requestTimerPeriod(unsigned) { return false; }
void releaseTimerPeriod(unsigned) {}

// ---- terminal and Ctrl-C ----------------------------------------------------------------------
bool standardOutputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

namespace {
std::atomic<bool> ctrlCSeen{false};
void noteCtrlC(int) { ctrlCSeen.store(true); }
}  // namespace

const std::atomic<bool>& ctrlCFlag() {
    static const bool installed = [] {
        struct sigaction action {};
        action.sa_handler = noteCtrlC;
        sigemptyset(&action.sa_mask);
        return sigaction(SIGINT, &action, nullptr) == 0;
    }();
    (void)installed;
    return ctrlCSeen;
}

// ---- yes/no question -------------------------------------------------------------------------
namespace {

bool desktopPresent() { return !getEnvironment("DISPLAY").empty() || !getEnvironment("WAYLAND_DISPLAY").empty(); }

// Runs the program (found on the PATH) with its arguments and waits for it. Its exit status;
// -1 when it could not be started or did not exit by itself.
int runAndWait(std::vector<std::string> words) {
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t child = 0;
    if (posix_spawnp(&child, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -1;
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A modal Yes/No dialog without icon. The text is shown as it stands (no markup), so that
// angle brackets and quotes in it stay visible.
Answer askOnDesktop(const std::string& title, const std::string& text) {
    const int status = runAndWait({"zenity", "--question", "--no-markup", "--icon-name=", "--title=" + title,
                                   "--text=" + text, "--ok-label=Yes", "--cancel-label=No"});
    if (status == 0) return Answer::Yes;
    return status == 1 ? Answer::No : Answer::NobodyAsked;
}

}  // namespace

Answer askTheUser(const std::string& title, const std::string& text) {
    if (desktopPresent() && programCanStart("zenity")) return askOnDesktop(title, text);
    return Answer::NobodyAsked;
}

}  // namespace tq4::platform
