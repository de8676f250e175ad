// Threads, processes, clocks, the console and the yes/no question.
// windows.h first: the other Windows headers need its types.
#include <windows.h>

#include <io.h>
#include <mmsystem.h>

#include <atomic>
#include <cstdio>
#include <ctime>

#include "platform/Platform.h"
#include "platform/Question.h"

namespace tq4::platform {

uint32_t currentThreadId() { return static_cast<uint32_t>(GetCurrentThreadId()); }
uint32_t currentProcessId() { return static_cast<uint32_t>(GetCurrentProcessId()); }

// SetThreadDescription exists from Windows 10 1607 on: looked up, so that older systems and
// Wine versions without it simply keep unnamed threads.
void nameCurrentThread(const char* name) {
    using Describe = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    static const auto describe = reinterpret_cast<Describe>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "SetThreadDescription")));
    if (!describe) return;
    wchar_t wide[64] = {};
    for (std::size_t i = 0; name[i] && i + 1 < sizeof wide / sizeof wide[0]; ++i)
        wide[i] = static_cast<wchar_t>(static_cast<unsigned char>(name[i]));
    describe(GetCurrentThread(), wide);
}

bool currentProcessorNumber(uint32_t& number) {
    number = static_cast<uint32_t>(GetCurrentProcessorNumber());
    return true;
}

int currentThreadPriority() {
    const int priority = GetThreadPriority(GetCurrentThread());
    return priority == THREAD_PRIORITY_ERROR_RETURN ? 0 : priority;
}

uint32_t processPriorityClass() { return static_cast<uint32_t>(GetPriorityClass(GetCurrentProcess())); }

LocalTime localTime() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    return LocalTime{now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

LocalTime localTimeAt(int64_t secondsSince1970) {
    const __time64_t seconds = secondsSince1970;
    tm parts{};
    _localtime64_s(&parts, &seconds);
    return LocalTime{
        parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, 0};
}

uint64_t highResolutionCounter() {
    LARGE_INTEGER now{};
    QueryPerformanceCounter(&now);
    return static_cast<uint64_t>(now.QuadPart);
}

uint64_t highResolutionFrequency() {
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency);
    return static_cast<uint64_t>(frequency.QuadPart);
}

// A program of its own console, not waited for: its handles are closed at once. Without
// arguments the program's path is the application name and there is no command line.
bool startProcess(const std::string& program, const std::string& arguments) {
    if (program.empty()) return false;
    std::string commandLine = arguments.empty() ? std::string() : "\"" + program + "\" " + arguments;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!CreateProcessA(program.c_str(), commandLine.empty() ? nullptr : commandLine.data(), nullptr, nullptr, FALSE,
                        CREATE_NEW_CONSOLE, nullptr, nullptr, &startup, &started))
        return false;
    CloseHandle(started.hThread);
    CloseHandle(started.hProcess);
    return true;
}

bool requestTimerPeriod(unsigned milliseconds) { return timeBeginPeriod(milliseconds) == TIMERR_NOERROR; }
void releaseTimerPeriod(unsigned milliseconds) { timeEndPeriod(milliseconds); }

// ---- terminal and Ctrl-C ----------------------------------------------------------------------
bool standardOutputIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}

namespace {
std::atomic<bool> ctrlCSeen{false};
BOOL WINAPI noteCtrlC(DWORD type) {
    if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT) return FALSE;
    ctrlCSeen.store(true);
    return TRUE;
}
}  // namespace

const std::atomic<bool>& ctrlCFlag() {
    static const bool installed = SetConsoleCtrlHandler(noteCtrlC, TRUE) != 0;
    (void)installed;
    return ctrlCSeen;
}

// ---- yes/no question -------------------------------------------------------------------------
// A modal box without owner window, Yes and No, no icon. A box that cannot be shown (no
// desktop, as for a service) asked nobody.
Answer askTheUser(const std::string& title, const std::string& text) {
    const int choice = MessageBoxA(nullptr, text.c_str(), title.c_str(), MB_YESNO);
    if (choice == 0) return Answer::NobodyAsked;
    return choice == IDYES ? Answer::Yes : Answer::No;
}

}  // namespace tq4::platform
